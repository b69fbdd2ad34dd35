// SPDX-License-Identifier: MIT
#include <benchmarks/many.h>

#include <benchmarks/measuredrun.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <optional>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDefaultCount = 10000;
constexpr qint64 kSize = 65536;
constexpr qint64 kMebi = 1048576;
constexpr qint64 kMostMemory = 100000000;
const QString kAtOnce = u"16"_s;

int countAskedFor()
{
    bool isNumber = false;
    const int count = qEnvironmentVariableIntValue("PLAIT_BENCH_URLS", &isNumber);
    return isNumber && count > 0 ? count : kDefaultCount;
}

QString nameOf(int number)
{
    return u"file-%1.bin"_s.arg(number, 5, 10, QLatin1Char('0'));
}

/// The files, and what a program that fetches them all is given.
class Course
{
    Q_DISABLE_COPY_MOVE(Course)

public:
    explicit Course(int count)
        : m_count(count)
    {
    }

    /// Empty = the server has them all.
    QString prepare()
    {
        if (!m_server.start(m_ca))
            return m_server.errorText();
        QFile input(inputFile());
        if (!input.open(QIODevice::WriteOnly))
            return input.errorString();
        for (int i = 0; i < m_count; ++i) {
            if (!m_server.addFile(nameOf(i), quint64(i), kSize))
                return u"cannot write the files"_s;
            input.write(m_server.url(u'/' + nameOf(i)).toEncoded() + '\n');
        }
        return {};
    }

    QString inputFile() const { return m_home.filePath(u"urls"_s); }
    int count() const { return m_count; }

    /// How many are not what the server has, those that are missing included.
    int countWrong(const QString &folder) const
    {
        int wrong = 0;
        for (int i = 0; i < m_count; ++i) {
            const QByteArray found = TestFiles::sha256OfFile(QDir(folder).filePath(nameOf(i)));
            wrong += int(found != TestFiles::sha256OfContent(quint64(i), kSize));
        }
        return wrong;
    }

private:
    const int m_count;
    const QTemporaryDir m_home;
    TestCa m_ca;
    NginxServer m_server;
};

struct Runner {
    QString name;
    QString program;
    QStringList arguments; ///< the folder and the list of URLs are put behind them
};

QList<Runner> runners()
{
    QList<Runner> all{{u"plait"_s, QStringLiteral(PLAIT_PROGRAM), {u"-q"_s, u"-j"_s, kAtOnce}}};
    const QString aria2 = QStandardPaths::findExecutable(u"aria2c"_s);
    if (!aria2.isEmpty())
        all.append({u"aria2c"_s, aria2, {u"--no-conf"_s, u"-q"_s, u"-j"_s, kAtOnce, u"-x"_s, u"1"_s}});
    return all;
}

QString mebibytes(qint64 bytes)
{
    return QString::number(double(bytes) / double(kMebi), 'f', 1) + u" MiB"_s;
}

/// None when not every file was right in the end.
std::optional<MeasuredRun> measure(const Runner &runner, const Course &course, QTextStream &out)
{
    const QTemporaryDir home;
    const QTemporaryDir target;
    const QStringList environment{u"PATH="_s + qEnvironmentVariable("PATH"), u"LC_ALL=C.UTF-8"_s,
                                  u"HOME="_s + home.path()};
    const MeasuredRun run = MeasuredRun::of(
        runner.program, runner.arguments + QStringList{u"-d"_s, target.path(), u"-i"_s, course.inputFile()},
        environment);
    const int wrong = course.countWrong(target.path());
    const bool isRight = run.status == 0 && wrong == 0
        && QDir(target.path()).entryList(QDir::Files | QDir::Hidden).size() == course.count();
    out << "  " << runner.name.leftJustified(8) << QString::number(run.seconds, 'f', 2) << " s ("
        << QString::number(run.processorSeconds, 'f', 2) << " s of processors), at most " << mebibytes(run.peakBytes);
    if (!isRight)
        out << "; failed: exit status " << run.status << ", " << wrong << " files wrong or missing";
    out << '\n' << Qt::flush;
    return isRight ? std::optional(run) : std::nullopt;
}

}

bool runMany(QTextStream &out)
{
    Course course(countAskedFor());
    const QString errorText = course.prepare();
    if (!errorText.isEmpty()) {
        out << "cannot prepare: " << errorText << '\n';
        return false;
    }
    out << course.count() << " files of " << kSize / 1024 << " KiB, " << kAtOnce << " at once\n" << Qt::flush;
    QList<MeasuredRun> runs;
    const QList<Runner> all = runners();
    for (const Runner &runner : all) {
        const std::optional<MeasuredRun> run = measure(runner, course, out);
        if (!run)
            return false;
        runs.append(*run);
    }
    if (runs.size() > 1)
        out << "  plait takes " << QString::number(runs.first().seconds / runs.last().seconds, 'f', 2)
            << " times as long as " << all.last().name << '\n';
    if (runs.first().peakBytes >= kMostMemory)
        out << "  plait takes more memory than it may: " << kMostMemory << " bytes" << '\n';
    return runs.first().peakBytes < kMostMemory;
}
