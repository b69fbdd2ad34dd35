// SPDX-License-Identifier: MIT
#include <benchmarks/large.h>

#include <benchmarks/measuredrun.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>

#include <QDir>
#include <QList>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <numeric>
#include <random>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kRounds = 5;
constexpr qint64 kMebi = 1048576;
constexpr qint64 kDefaultMebis = 1024;
constexpr quint64 kSeed = 12;
const QString kFileName = u"file.bin"_s;

struct Course {
    QString title;
    RealServer::Scheme scheme;
    int connections;
    qint64 mostMemory; ///< that plait may take, in bytes
};

const QList<Course> &courses()
{
    static const QList<Course> all{{u"http, one connection"_s, RealServer::Scheme::Http, 1, 48 * kMebi},
                                   {u"http, eight connections"_s, RealServer::Scheme::Http, 8, 80 * kMebi},
                                   {u"https, one connection"_s, RealServer::Scheme::Https, 1, 48 * kMebi}};
    return all;
}

/// A program on a course. "%DIR%", "%URL%" and "%CA%" stand for themselves.
struct Entry {
    QString name;
    QString program;
    QStringList arguments;
    QList<MeasuredRun> runs = {};
};

bool isInstalled(const QString &program)
{
    return !QStandardPaths::findExecutable(program).isEmpty();
}

void addIfInstalled(QList<Entry> &entries, const QString &program, const QStringList &arguments)
{
    if (isInstalled(program))
        entries.append({program, QStandardPaths::findExecutable(program), arguments});
}

QList<Entry> entriesFor(const Course &course)
{
    const QString count = QString::number(course.connections);
    QList<Entry> entries{
        {u"plait"_s,
         QStringLiteral(PLAIT_PROGRAM),
         {u"-q"_s, u"-x"_s, count, u"--ca-certificate"_s, u"%CA%"_s, u"-d"_s, u"%DIR%"_s, u"%URL%"_s}}};
    const QString target = u"%DIR%/"_s + kFileName;
    if (course.connections == 1) {
        addIfInstalled(entries, u"curl"_s, {u"-sS"_s, u"--cacert"_s, u"%CA%"_s, u"-o"_s, target, u"%URL%"_s});
        if (isInstalled(u"curl"_s))
            entries.append({u"curl and sync"_s,
                            u"/bin/sh"_s,
                            {u"-c"_s, u"curl -sS --cacert \"$2\" -o \"$0\" \"$1\" && sync \"$0\""_s, target, u"%URL%"_s,
                             u"%CA%"_s}});
    } else {
        addIfInstalled(entries, u"axel"_s, {u"-q"_s, u"-n"_s, count, u"-o"_s, target, u"%URL%"_s});
    }
    addIfInstalled(entries, u"aria2c"_s,
                   {u"--no-conf"_s, u"-q"_s, u"-x"_s, count, u"-s"_s, count, u"-k"_s, u"1M"_s,
                    u"--file-allocation=falloc"_s, u"--ca-certificate=%CA%"_s, u"-d"_s, u"%DIR%"_s, u"%URL%"_s});
    return entries;
}

/// By another process: what this one maps or reads would count as the next run's memory.
bool haveSameContent(const QString &one, const QString &other)
{
    return QProcess::execute(u"cmp"_s, {u"-s"_s, one, other}) == 0;
}

/// False when what arrives is another file.
bool runOnce(Entry &entry, const QString &url, const QString &caFile, const QString &original)
{
    const QTemporaryDir home;
    const QTemporaryDir target;
    QStringList arguments = entry.arguments;
    arguments.replaceInStrings(u"%DIR%"_s, target.path());
    arguments.replaceInStrings(u"%URL%"_s, url);
    arguments.replaceInStrings(u"%CA%"_s, caFile);
    const QStringList environment{u"PATH="_s + qEnvironmentVariable("PATH"), u"LC_ALL=C.UTF-8"_s,
                                  u"HOME="_s + home.path()};
    entry.runs.append(MeasuredRun::of(entry.program, arguments, environment));
    return entry.runs.constLast().status == 0 && haveSameContent(target.filePath(kFileName), original);
}

template<typename Value>
Value median(const QList<MeasuredRun> &runs, Value MeasuredRun::*field)
{
    QList<Value> values;
    for (const MeasuredRun &run : runs)
        values.append(run.*field);
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

QString ratio(double value, double of)
{
    return QString::number(value / of, 'f', 2);
}

void print(const Entry &entry, const Entry &first, QTextStream &out)
{
    const double seconds = median(entry.runs, &MeasuredRun::seconds);
    const double processor = median(entry.runs, &MeasuredRun::processorSeconds);
    out << "  " << entry.name.leftJustified(14) << QString::number(seconds, 'f', 2) << " s, "
        << QString::number(processor, 'f', 2) << " s of processors, at most "
        << median(entry.runs, &MeasuredRun::peakBytes) / kMebi << " MiB";
    if (&entry != &first)
        out << "; plait takes " << ratio(median(first.runs, &MeasuredRun::seconds), seconds) << " of its time, "
            << ratio(median(first.runs, &MeasuredRun::processorSeconds), processor) << " of its processor time";
    out << '\n';
}

bool runCourse(const Course &course, const NginxServer &server, const TestCa &ca, QTextStream &out)
{
    QList<Entry> entries = entriesFor(course);
    const QUrl url = server.url(u'/' + kFileName, course.scheme);
    QList<qsizetype> order(entries.size());
    std::iota(order.begin(), order.end(), 0);
    std::mt19937 dice{std::random_device{}()};
    for (int round = 0; round < kRounds; ++round) {
        std::shuffle(order.begin(), order.end(), dice);
        for (const qsizetype number : std::as_const(order)) {
            if (runOnce(entries[number], url.toString(), ca.caFile(), QDir(server.folder()).filePath(kFileName)))
                continue;
            out << "  " << entries.at(number).name << " failed\n";
            return false;
        }
    }
    out << course.title << '\n';
    for (const Entry &entry : std::as_const(entries))
        print(entry, entries.constFirst(), out);
    out << Qt::flush;
    const bool isWithin = median(entries.constFirst().runs, &MeasuredRun::peakBytes) <= course.mostMemory;
    if (!isWithin)
        out << "  plait takes more memory than it may: " << course.mostMemory / kMebi << " MiB\n";
    return isWithin;
}

}

bool runLarge(QTextStream &out)
{
    bool isNumber = false;
    const int asked = qEnvironmentVariableIntValue("PLAIT_BENCH_MIB", &isNumber);
    const qint64 size = (isNumber && asked > 0 ? asked : kDefaultMebis) * kMebi;
    TestCa ca;
    NginxServer server;
    if (!server.start(ca) || !server.addFile(kFileName, kSeed, size)) {
        out << "nginx: " << server.errorText() << '\n';
        return false;
    }
    out << size / kMebi << " MiB, medians of " << kRounds << " rounds in a shuffled order\n" << Qt::flush;
    const QList<Course> &all = courses();
    return std::all_of(all.cbegin(), all.cend(),
                       [&](const Course &course) { return runCourse(course, server, ca, out); });
}
