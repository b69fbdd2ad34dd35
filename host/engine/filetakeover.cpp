// SPDX-License-Identifier: MIT
#include <host/engine/filetakeover.h>

#include <host/storage/renamedfile.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>

#include <QFileInfo>
#include <QThread>

#include <utility>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// Of programs that fetch several parts of a file at once: what they have not finished has gaps.
constexpr QLatin1StringView kNotesOfOthers[] = {".aria2"_L1, ".st"_L1};

bool hasHoles(const QFile &file)
{
    const off_t hole = ::lseek(file.handle(), 0, SEEK_HOLE);
    ::lseek(file.handle(), 0, SEEK_SET);
    return hole >= 0 && hole < file.size();
}

}

void TakenFile::putInto(AbstractDownloadPersistentInfo &record) const
{
    using File = AbstractDownloadFileInfo;
    File file;
    file.name = QFileInfo(path).fileName();
    file.pathOnDisk = isWhole() ? file.name : file.name + u".part"_s;
    file.size = identity.total;
    file.lastModified = identity.lastModified;
    file.fileFlags = isWhole() ? File::CreatedOnDisk | File::FinalOnDisk : File::CreatedOnDisk;
    file.sections = {{0, identity.total, size}};
    record.files = {file};
    record.finalUrl = target;
    record.resumeSupport = AbstractDownloadPersistentInfo::ResumeSupported;
    record.setFinished(isWhole(), true);
}

ResourceMemory TakenFile::memory(const QUrl &url) const
{
    ResourceMemory memory;
    memory.addresses = {{url, target, redirects, identity}};
    memory.evidence = Evidence::ofOldBytes();
    return memory;
}

bool TakenFile::isAsCompared() const
{
    return QFileInfo(path).size() == size && FileIdentity::of(path) == found;
}

void TakenFile::giveBack() const
{
    if (!isWhole())
        RenamedFile::toFinal(path);
}

FileTakeOver::FileTakeOver(const QSharedPointer<QNetworkAccessManager> &manager, const Asked &asked, QObject *parent)
    : QObject(parent)
    , m_asked(asked)
    , m_file(asked.path)
    , m_fetch(manager, asked.patience)
{
    m_fetch.setParent(this);
    connect(&m_fetch, &SmallFetch::done, this, &FileTakeOver::onAnswer);
    connect(&m_fetch, &SmallFetch::retrying, this, [this](const SmallFetch::Answer &answer, int attempt, qint64 inMs) {
        Q_EMIT retrying(failureOf(answer), attempt, inMs);
    });
}

FileTakeOver::~FileTakeOver() = default;

void FileTakeOver::begin()
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (const Clause reason = obstacle(); !reason.isEmpty()) {
        QMetaObject::invokeMethod(
            this, [this, reason] { refuse(reason); }, Qt::QueuedConnection);
        return;
    }
    m_local = {m_file.size(), QFileInfo(m_file).lastModified(), m_asked.hasChecksum};
    m_taken.path = m_asked.path;
    m_taken.found = FileIdentity::of(m_file.handle());
    m_taken.size = m_local.size;
    m_pieces = TakeOver::piecesOf(m_local.size);
    askNext();
}

/// What can be seen without the server; empty = nothing is in the way.
Clause FileTakeOver::obstacle()
{
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return m_file.errorString();
    if (m_file.size() == 0)
        return Clause::Kind::FileEmpty;
    for (const QLatin1StringView ending : kNotesOfOthers) {
        if (QFileInfo::exists(m_asked.path + ending))
            return {Clause::Kind::NoteOfOthers, {QFileInfo(m_asked.path).fileName() + ending}};
    }
    if (QFileInfo::exists(m_asked.path + u".part"_s))
        return {Clause::Kind::BegunBeside, {QFileInfo(m_asked.path).fileName() + u".part"_s}};
    return hasHoles(m_file) ? Clause::Kind::FileHasHoles : Clause();
}

void FileTakeOver::askNext()
{
    const TakeOver::Piece piece = m_pieces.first();
    m_fetch.begin({m_asked.url, piece.offset, piece.size, m_asked.headers, m_asked.trustsAll});
}

void FileTakeOver::onAnswer(const SmallFetch::Answer &answer)
{
    if (answer.error) {
        end(failureOf(answer));
        return;
    }
    const TakeOver::Answer found = judged(answer);
    if (!m_first) {
        m_first = found;
        m_taken.identity = found.identity;
        m_taken.target = answer.redirects > 0 ? answer.url : QUrl();
        m_taken.redirects = answer.redirects;
    }
    if (const Clause reason = TakeOver::refusal(m_local, *m_first, found); !reason.isEmpty()) {
        refuse(reason);
        return;
    }
    m_taken.identity = m_taken.identity.completed(found.identity);
    m_pieces.removeFirst();
    if (m_pieces.isEmpty() || TakeOver::isSettled(m_local, *m_first))
        end({});
    else
        askNext();
}

Failure FileTakeOver::failureOf(const SmallFetch::Answer &answer) const
{
    AbstractDownloadPersistentInfo record;
    record.url = m_asked.url;
    return Failure::of(answer.error, record);
}

TakeOver::Answer FileTakeOver::judged(const SmallFetch::Answer &answer)
{
    const TakeOver::Piece piece = m_pieces.first();
    return {piece,        answer.status, answer.identity(), answer.field("Content-Encoding").trimmed(),
            answer.bytes, ours(piece)};
}

QByteArray FileTakeOver::ours(const TakeOver::Piece &piece)
{
    return m_file.seek(piece.offset) ? m_file.read(piece.size) : QByteArray();
}

void FileTakeOver::refuse(const Clause &reason)
{
    end(Failure::make(Failure::Kind::CannotTakeOver, subject(), reason));
}

Failure::Subject FileTakeOver::subject() const
{
    Failure::Subject subject;
    subject.url = m_asked.url.adjusted(QUrl::RemovePassword);
    subject.path = m_asked.path;
    subject.title = QFileInfo(m_asked.path).fileName();
    subject.host = m_asked.url.host();
    return subject;
}

void FileTakeOver::end(const Failure &failure)
{
    Q_ASSERT_X(!m_isDone, "FileTakeOver", "one done()");
    m_isDone = true;
    m_file.close();
    Q_EMIT done(failure, m_taken);
}
