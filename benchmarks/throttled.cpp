// SPDX-License-Identifier: MIT
#include <benchmarks/throttled.h>

#include <benchmarks/contestant.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kConnections = 16;
constexpr qint64 kKibi = 1024;
constexpr qint64 kSize = 256 * kKibi * kKibi;
constexpr qint64 kRate = 4 * kKibi * kKibi;
constexpr qint64 kSlowFactor = 50;
/// What is left of a section when it is no longer divided.
constexpr qint64 kLastPiece = 307200;
constexpr quint64 kSeed = 4;
constexpr int kRuns = 3;

struct Course {
    QString title;
    QString path;
    double idealSeconds;
};

QString rateName(qint64 bytesPerSecond)
{
    return QString::number(bytesPerSecond / kKibi) + u'k';
}

QList<Course> courses()
{
    const double ideal = double(kSize) / double(kConnections * kRate);
    const qint64 slowRate = kRate / kSlowFactor / kKibi * kKibi;
    const double oneSlow =
        double(kSize) / double((kConnections - 1) * kRate + slowRate) + double(kLastPiece) / double(slowRate);
    return {{u"every connection at 4 MiB/s"_s, u"/rate/%1/file.bin"_s.arg(rateName(kRate)), ideal},
            {u"the first connection 50 times slower; ideal with the time of its last 307,200 bytes"_s,
             u"/first-slow/%1/%2/file.bin"_s.arg(rateName(slowRate), rateName(kRate)), oneSlow}};
}

QString timesTheIdeal(double seconds, const Course &course)
{
    return QString::number(seconds / course.idealSeconds, 'f', 3);
}

/// The median of some runs, and all of them behind it. Empty when one failed.
QString resultOf(const Contestant &contestant, const QString &url, const QByteArray &sha256, const Course &course)
{
    QList<double> runs;
    for (int run = 0; run < kRuns; ++run) {
        const std::optional<double> seconds = contestant.secondsFor(url, sha256);
        if (!seconds)
            return {};
        runs.append(*seconds);
    }
    std::sort(runs.begin(), runs.end());
    QStringList all;
    for (const double seconds : std::as_const(runs))
        all.append(timesTheIdeal(seconds, course));
    const double median = runs.at(kRuns / 2);
    return u"%1 s, %2 times the ideal (runs: %3)"_s.arg(QString::number(median, 'f', 2), timesTheIdeal(median, course),
                                                        all.join(u", "_s));
}

QList<Contestant> contestants()
{
    QList<Contestant> all{Contestant::plait(kConnections)};
    if (const std::optional<Contestant> aria2 = Contestant::aria2(kConnections))
        all.append(*aria2);
    return all;
}

}

bool runThrottled(QTextStream &out)
{
    TestCa ca;
    NginxServer server;
    if (!server.start(ca) || !server.addFile(u"file.bin"_s, kSeed, kSize)) {
        out << "nginx: " << server.errorText() << '\n';
        return false;
    }
    const QByteArray sha256 = TestFiles::sha256OfContent(kSeed, kSize);
    bool measuredAll = true;
    for (const Course &course : courses()) {
        out << "256 MiB over " << kConnections << " connections, " << course.title << ": "
            << QString::number(course.idealSeconds, 'f', 2) << " s\n";
        for (const Contestant &contestant : contestants()) {
            const QString result = resultOf(contestant, server.url(course.path).toString(), sha256, course);
            measuredAll &= !result.isEmpty();
            out << "  " << contestant.name.leftJustified(8) << (result.isEmpty() ? u"failed"_s : result) << '\n'
                << Qt::flush;
        }
    }
    return measuredAll;
}
