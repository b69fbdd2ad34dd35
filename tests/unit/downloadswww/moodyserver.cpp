// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/moodyserver.h>

#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>
#include <tests/support/testfiles.h>

#include <QLocale>
#include <QMutexLocker>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kMostVersions = 4;
constexpr qint64 kSplittable = 307200;

/// From nothing to some megabytes, with the sizes at which sections begin to be divided among them.
qint64 someSize(QRandomGenerator &random)
{
    switch (random.bounded(8)) {
    case 0:
        return random.bounded(3);
    case 1:
        return kSplittable - 1 + random.bounded(3);
    case 2:
        return random.bounded(int(kSplittable));
    default:
        return 1 + random.bounded(6'000'000);
    }
}

/// A third of the servers are well, a third have one thing wrong with them, the others everything.
Moods someMoods(QRandomGenerator &random)
{
    Moods moods;
    int *const all[] = {&moods.refuses, &moods.ignoresRange, &moods.cuts,   &moods.stalls,
                        &moods.delays,  &moods.crawls,       &moods.hangsUp};
    switch (random.bounded(3)) {
    case 0:
        break;
    case 1:
        *all[random.bounded(int(std::size(all)))] = 100 + random.bounded(500);
        break;
    default:
        for (int *mood : all)
            *mood = random.bounded(120);
        break;
    }
    return moods;
}

QByteArray httpDate(const QDateTime &time)
{
    return QLocale::c().toString(time, u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s).toLatin1();
}

}

MoodyServer::MoodyServer(quint32 seed)
    : m_random(seed)
    , m_seed(seed)
{
    m_size = someSize(m_random);
    m_hasEtag = m_random.bounded(4) != 0;
    m_keepsSize = m_random.bounded(2) == 0;
    m_moods = someMoods(m_random);
    m_server.setHandler("/file.bin", [this](const ScriptedRequest &) { return answer(); });
}

qint64 MoodyServer::size() const
{
    const QMutexLocker lock(&m_mutex);
    return sizeOf(m_version);
}

void MoodyServer::letGo()
{
    QString gate;
    {
        const QMutexLocker lock(&m_mutex);
        gate = this->gate();
        ++m_gateNumber;
    }
    m_server.release(gate);
}

void MoodyServer::change()
{
    const QMutexLocker lock(&m_mutex);
    m_version = qMin(m_version + 1, kMostVersions - 1);
}

void MoodyServer::calmDown()
{
    {
        const QMutexLocker lock(&m_mutex);
        m_moods = {};
    }
    letGo();
}

bool MoodyServer::hasChanged() const
{
    const QMutexLocker lock(&m_mutex);
    return m_version > 0;
}

std::optional<QByteArray> MoodyServer::contentNamedBy(const AbstractDownloadPersistentInfo &record) const
{
    for (int version = 0; version < kMostVersions; ++version) {
        const bool isNamed = m_hasEtag ? record.guid.value.endsWith(u':' + QString::fromLatin1(etagOf(version)))
                                       : record.files.constFirst().lastModified == modifiedOf(version);
        if (isNamed)
            return TestFiles::content(contentSeedOf(version), 0, sizeOf(version));
    }
    return {};
}

QString MoodyServer::description() const
{
    const QMutexLocker lock(&m_mutex);
    return u"size %1, %2, version %3; of 1000 answers refuses %4, ignores range %5, cuts %6, stalls %7, delays %8, "
           "crawls %9, hangs up %10"_s.arg(sizeOf(m_version))
               .arg(m_hasEtag ? u"ETag"_s : u"Last-Modified"_s)
               .arg(m_version)
               .arg(m_moods.refuses)
               .arg(m_moods.ignoresRange)
               .arg(m_moods.cuts)
               .arg(m_moods.stalls)
               .arg(m_moods.delays)
               .arg(m_moods.crawls)
               .arg(m_moods.hangsUp);
}

ScriptedResponse MoodyServer::answer()
{
    const QMutexLocker lock(&m_mutex);
    if (happens(m_moods.hangsUp))
        return ScriptedResponse::noAnswer();
    ScriptedResponse response = happens(m_moods.refuses)
        ? ScriptedResponse::error(503)
        : ScriptedResponse::file(contentSeedOf(m_version), sizeOf(m_version));
    if (response.status != 503) {
        response.headers = {{"Content-Type", "application/octet-stream"},
                            {"Last-Modified", httpDate(modifiedOf(m_version))}};
        if (m_hasEtag)
            response.headers.append({"ETag", etagOf(m_version)});
        response.honoursRanges = !happens(m_moods.ignoresRange);
    }
    addMood(response);
    return response;
}

void MoodyServer::addMood(ScriptedResponse &response)
{
    const qint64 place = 1 + m_random.bounded(int(qMax<qint64>(m_size / 2, 1)));
    if (happens(m_moods.cuts)) {
        response.cutAfter = place;
        response.cut = m_random.bounded(2) == 0 ? ScriptedResponse::Cut::Orderly : ScriptedResponse::Cut::Reset;
    }
    if (happens(m_moods.stalls)) {
        response.holdAfter = place / 2;
        response.holdGate = gate();
    }
    if (happens(m_moods.delays))
        response.headGate = gate();
    if (happens(m_moods.crawls))
        response.bytesPerSecond = 100'000 + m_random.bounded(2'000'000);
}

QByteArray MoodyServer::etagOf(int version) const
{
    return "\"" + QByteArray::number(m_seed) + "-v" + QByteArray::number(version) + "\"";
}

QDateTime MoodyServer::modifiedOf(int version) const
{
    return {QDate(2020, 1, 1 + version), QTime(12, 0), Qt::UTC};
}

quint64 MoodyServer::contentSeedOf(int version) const
{
    return quint64(m_seed) * kMostVersions + quint64(version);
}

qint64 MoodyServer::sizeOf(int version) const
{
    return m_keepsSize ? m_size : m_size + version * 1000;
}
