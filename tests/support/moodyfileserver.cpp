// SPDX-License-Identifier: MIT
#include <tests/support/moodyfileserver.h>

#include <QHash>
#include <QMutex>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kPercentFaulty = 40;

QString lineFor(const ScriptedRequest &request, const MoodyAnswer &answer)
{
    const QByteArray range = request.header("Range");
    const QByteArray head = answer.bytes.left(answer.bytes.indexOf("\r\n\r\n", answer.bytes.lastIndexOf("HTTP/1.")));
    const QString end = answer.end == MoodyAnswer::End::KeepOpen ? u"keep"_s
        : answer.end == MoodyAnswer::End::Close                  ? u"close"_s
                                                                 : u"reset"_s;
    return u"#%1 %2 %3%4 -> %5%6 bytes, %7: %8"_s.arg(
        QString::number(request.connection), QString::fromLatin1(request.target), QString::fromLatin1(range),
        request.hasHeader("Authorization") ? u" with login"_s : QString(), answer.isFaulty ? u"FAULT "_s : QString(),
        QString::number(answer.bytes.size()), end, QString::fromLatin1(head.left(400)).replace(u"\r\n"_s, u" | "_s));
}
}

class MoodyBook
{
public:
    MoodyAnswer take(const ScriptedRequest &request, bool isReused)
    {
        const QMutexLocker lock(&m_mutex);
        const quint64 seed = request.path().split('/').value(1).toULongLong();
        const MoodyFile file(seed);
        Entry &entry = m_entries[seed];
        QRandomGenerator chance(quint32(seed) * 40503U + quint32(entry.log.requests) + 1);
        const bool mayFail = !entry.isSound && entry.log.faults < file.mostFaults();
        const MoodyAnswer answer = mayFail && chance.bounded(100) < kPercentFaulty
            ? file.faultyAnswer(request, isReused, chance)
            : file.soundAnswer(request, chance);
        ++entry.log.requests;
        entry.log.faults += int(answer.isFaulty);
        entry.log.lines.append(lineFor(request, answer));
        return answer;
    }

    void soothe(quint64 seed)
    {
        const QMutexLocker lock(&m_mutex);
        m_entries[seed].isSound = true;
    }

    MoodyFileServer::Log log(quint64 seed) const
    {
        const QMutexLocker lock(&m_mutex);
        return m_entries.value(seed).log;
    }

    void forget(quint64 seed)
    {
        const QMutexLocker lock(&m_mutex);
        m_entries.remove(seed);
    }

private:
    struct Entry {
        MoodyFileServer::Log log;
        bool isSound = false;
    };

    mutable QMutex m_mutex;
    QHash<quint64, Entry> m_entries;
};

MoodyFileServer::MoodyFileServer()
    : m_book(std::make_shared<MoodyBook>())
    , m_server([book = m_book](const ScriptedRequest &request, bool isReused) { return book->take(request, isReused); })
{
}

QUrl MoodyFileServer::url(const MoodyFile &file) const
{
    return QUrl(QString::fromLatin1("http://127.0.0.1:" + QByteArray::number(m_server.port()) + file.path()));
}

void MoodyFileServer::soothe(quint64 seed)
{
    m_book->soothe(seed);
}

MoodyFileServer::Log MoodyFileServer::log(quint64 seed) const
{
    return m_book->log(seed);
}

void MoodyFileServer::forget(quint64 seed)
{
    m_book->forget(seed);
}
