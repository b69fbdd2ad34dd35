// SPDX-License-Identifier: MIT
#include <host/engine/checksumsearch.h>

#include <host/parsing/checksumlist.h>
#include <host/policy/retry.h>

#include <QFile>
#include <QThread>

using namespace Qt::StringLiterals;

namespace
{

Clause reasonOf(const AbstractError &error)
{
    return error.category == ErrorCategory::kHttp ? Clause(Clause::Kind::AnsweredWith, {QString::number(error.code)})
                                                  : Clause(QString::fromStdString(error.description));
}

SmallFetch::Answer answerOfFile(const QUrl &url)
{
    SmallFetch::Answer answer;
    answer.url = url;
    QFile file(url.toLocalFile());
    if (file.open(QIODevice::ReadOnly))
        answer.bytes = file.read(ChecksumList::kMostBytes + 1);
    else
        answer.error = {file.error(), ErrorCategory::kFile, errorSourceHere(), file.errorString().toStdString()};
    answer.isCut = answer.bytes.size() > ChecksumList::kMostBytes;
    return answer;
}

}

ChecksumSearch::ChecksumSearch(const QSharedPointer<QNetworkAccessManager> &manager, const Asked &asked,
                               QObject *parent)
    : QObject(parent)
    , m_asked(asked)
    , m_fetch(manager, asked.patience)
{
    m_fetch.setParent(this);
    connect(&m_fetch, &SmallFetch::retrying, this, &ChecksumSearch::retrying);
    connect(&m_fetch, &SmallFetch::done, this, &ChecksumSearch::onAnswer);
}

ChecksumSearch::~ChecksumSearch() = default;

void ChecksumSearch::begin()
{
    Q_ASSERT(QThread::currentThread() == thread());
    Q_ASSERT_X(m_found.list.isEmpty() && !m_isDone, "ChecksumSearch", "one search");
    QMetaObject::invokeMethod(this, &ChecksumSearch::askNext, Qt::QueuedConnection);
}

void ChecksumSearch::askNext()
{
    if (m_found.checksum || m_found.isUnanswered || m_asked.lists.isEmpty()) {
        Q_ASSERT_X(!m_isDone, "ChecksumSearch", "one done()");
        m_isDone = true;
        const Found found = m_found;
        Q_EMIT done(found);
        return;
    }
    m_found.list = m_asked.lists.takeFirst();
    if (m_found.list.isLocalFile())
        return onAnswer(answerOfFile(m_found.list));
    m_fetch.begin({m_found.list, -1, ChecksumList::kMostBytes, m_asked.headers, m_asked.trustsAll});
}

void ChecksumSearch::onAnswer(const SmallFetch::Answer &answer)
{
    if (!answer.error)
        look(answer);
    else
        m_found.reason = reasonOf(answer.error);
    m_found.isUnanswered = Retry::isWorthwhile(answer.error);
    askNext();
}

void ChecksumSearch::look(const SmallFetch::Answer &answer)
{
    const QList<ChecksumList::Entry> entries = ChecksumList::parse(answer.bytes);
    if (answer.isCut)
        m_found.reason = Clause::Kind::TooLargeForChecksums;
    else if (ChecksumList::isPage(answer.bytes) || entries.isEmpty())
        m_found.reason = Clause::Kind::NoListOfChecksums;
    else if (m_found.checksum = ChecksumList::find(entries, m_asked.names, m_asked.url.path()); !m_found.checksum)
        m_found.reason = {Clause::Kind::NoChecksumOf, {m_asked.names.value(0)}};
}
