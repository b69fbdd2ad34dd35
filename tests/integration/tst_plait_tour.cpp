// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDone = 0;
constexpr int kUnknown = 1;
constexpr int kNotFound = 3;
constexpr int kUnfinished = 7;
constexpr int kFileExists = 13;
constexpr int kAuthentication = 24;
constexpr int kBadOption = 28;
constexpr int kChecksumMismatch = 32;
constexpr int kResourceChanged = 33;

constexpr qint64 kSmall = 65536;
constexpr qint64 kMedium = 300000; // too small to be split
constexpr qint64 kLarge = 2097152;
constexpr qint64 kBeginning = 16;

struct Served {
    const char *name;
    quint64 seed;
    qint64 size;
};

constexpr Served kServed[] = {
    {"song.ogg", 1, kMedium},     {"cover.jpg", 2, kSmall},   {"notes.txt", 3, kSmall},
    {"draft1.txt", 4, kSmall},    {"draft2.txt", 5, kSmall},  {"draft3.txt", 6, kSmall},
    {"draft4.txt", 7, kSmall},    {"draft5.txt", 8, kSmall},  {"draft6.txt", 9, kSmall},
    {"disk.img", 10, kLarge},     {"slow.bin", 11, kSmall},   {"one.zip", 12, kSmall},
    {"two.zip", 13, kSmall},      {"tool.tar", 14, kSmall},   {"tool2.tar", 15, kSmall},
    {"mirrored.bin", 16, kSmall}, {"talk.webm", 17, kMedium}, {"lecture.webm", 18, kMedium},
    {"moved.webm", 19, kMedium},  {"holes.img", 20, kLarge},  {"part.log", 21, kMedium},
    {"settled.zip", 22, kSmall},
};

const Served &served(const QString &name)
{
    const auto *const it = std::find_if(std::begin(kServed), std::end(kServed),
                                        [&](const Served &file) { return name == QLatin1String(file.name); });
    Q_ASSERT(it != std::end(kServed));
    return *it;
}

/// A word as a shell wants it.
QString quoted(const QString &word)
{
    static const QRegularExpression plain(u"^[-A-Za-z0-9_./:=,@]+$"_s);
    return plain.match(word).hasMatch() ? word : u'\'' + word + u'\'';
}

void replaceAll(QString &text, const QString &pattern, const QString &by)
{
    const QRegularExpression expression(pattern, QRegularExpression::MultilineOption);
    text.replace(expression, by);
}

/// The columns behind a share of a file stay where they are.
void steadyShares(QString &text)
{
    static const QRegularExpression share(u"\\b\\d+% +"_s);
    qsizetype from = 0;
    for (auto match = share.match(text); match.hasMatch(); match = share.match(text, from)) {
        const QString steady = u"37%"_s.leftJustified(match.capturedLength());
        text.replace(match.capturedStart(), match.capturedLength(), steady);
        from = match.capturedStart() + steady.size();
    }
}

QByteArray sortedLines(const QByteArray &text)
{
    QList<QByteArray> lines = text.split('\n');
    lines.removeAll({});
    std::sort(lines.begin(), lines.end());
    return lines.isEmpty() ? QByteArray() : lines.join('\n') + '\n';
}

/// What is told of a step beside what every step has in common.
enum class Telling {
    AsItIs,
    Sorted, ///< lines that come in any order
    Amounts, ///< how far it came is another number each time
};

}

/// A walk through every command as people use them, told in docs/tour.md. What differs from one walk to the next
/// (addresses, folders, times, speeds) is replaced by what stays; everything else has to be what the page says.
/// With PLAIT_WRITE_TOUR=1 the page is written anew.
class TestPlaitTour : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void filesAreFetchedUnderTheirNames();
    void aNameThatIsTakenIsTreatedAsAsked();
    void connectionsSpeedAndSourcesCanBeChosen();
    void aChecksumTellsWhetherItIsTheFileThatWasMeant();
    void theListAndTheServerAreAsked();
    void whatWasStoppedGoesOn();
    void aChangedFileIsFetchedAgain();
    void aFreshAddressTakesOverFromAnOldOne();
    void onlyOnePieceFromTheStartCanBeFinished();
    void downloadsAreTakenOffTheList();
    void settingsStandForOptions();
    void failuresHaveStatusesOfTheirOwn();
    void theWalkIsTheOneOfThePage();

private:
    QString url(const QString &path) { return m_servers.nginx().url(u'/' + path).toString(); }
    bool isWhole(const QString &path, const QString &servedName) const;
    bool hasBeginningOf(const QString &path, const QString &servedName) const;

    void title(const QString &text) { m_page += u"\n## "_s + text + u'\n'; }
    void tell(const QString &text) { m_page += u'\n' + text + u'\n'; }
    bool walk(const QStringList &arguments, int status, Telling telling = Telling::AsItIs);
    bool walkAndStop(const QStringList &arguments, const QStringList &parts, int pieces = 0);
    void record(const QStringList &lines, Telling telling);
    QString steady(QString text, Telling telling);
    bool sees(const char *words) const { return (m_result.out + m_result.err).contains(words); }
    QByteArray complaint() const;

    QList<QJsonObject> listed(const QStringList &arguments);
    QString idOf(const QString &url);

    RealServers m_servers;
    PlaitSandbox m_plait;
    PlaitResult m_result;
    QString m_page;
};

void TestPlaitTour::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    for (const Served &file : kServed)
        QVERIFY(m_servers.addFile(QLatin1String(file.name), file.seed, file.size));
    m_page = u"# A tour of plait\n"_s;
    tell(
        u"A walk through every command, as it went against real servers. The test `tst_plait_tour` takes it again and\n"
        u"compares; only addresses, folders, times and speeds are replaced. All options are in the\n"
        u"[manual](manual.md)."_s);
}

bool TestPlaitTour::isWhole(const QString &path, const QString &servedName) const
{
    const Served &file = served(servedName);
    return TestFiles::sha256OfFile(m_plait.path(path)) == TestFiles::sha256OfContent(file.seed, file.size);
}

bool TestPlaitTour::hasBeginningOf(const QString &path, const QString &servedName) const
{
    const QByteArray bytes = TestFiles::readFile(m_plait.path(path));
    return !bytes.isEmpty() && bytes == TestFiles::content(served(servedName).seed, 0, bytes.size());
}

/// Takes one step and tells it. False when it ended in another way than that.
bool TestPlaitTour::walk(const QStringList &arguments, int status, Telling telling)
{
    m_result = m_plait.runBare(arguments);
    QStringList words{u"$ plait"_s};
    for (const QString &argument : arguments)
        words.append(quoted(argument));
    record({words.join(u' ')}, telling);
    return m_result.status == status;
}

/// The same for a download that is stopped when these files have begun, and so many pieces of the newest are in the
/// list.
bool TestPlaitTour::walkAndStop(const QStringList &arguments, const QStringList &parts, int pieces)
{
    m_plait.start(arguments);
    const auto hasBegun = [this](const QString &name) {
        return m_plait.partBeginsWith(name, TestFiles::content(served(name).seed, 0, kBeginning));
    };
    const bool begun = QTest::qWaitFor(
        [&] {
            return !m_plait.isRunning()
                || (std::all_of(parts.begin(), parts.end(), hasBegun)
                    && (pieces == 0 || m_plait.listedPieces().size() >= pieces));
        },
        PlaitSandbox::kPatienceMs);
    m_plait.sendSignal(SIGTERM);
    m_result = m_plait.finish();
    QStringList words{u"$ plait"_s};
    for (const QString &argument : arguments)
        words.append(quoted(argument));
    words.append({u"-d"_s, m_plait.downloads(), u"&"_s});
    record({words.join(u' '), u"$ kill %1"_s}, Telling::Sorted);
    return begun && m_result.status == kUnfinished;
}

void TestPlaitTour::record(const QStringList &lines, Telling telling)
{
    const bool isSorted = telling == Telling::Sorted;
    const QByteArray out = isSorted ? sortedLines(m_result.out) : m_result.out;
    const QByteArray err = isSorted ? sortedLines(m_result.err) : m_result.err;
    m_page += u"\n```\n"_s + steady(lines.join(u'\n') + u'\n' + QString::fromUtf8(out + err), telling)
        + u"[exit status %1]\n```\n"_s.arg(m_result.status);
}

QString TestPlaitTour::steady(QString text, Telling telling)
{
    text.replace(url({}), u"http://files.example/"_s);
    text.replace(u"\"127.0.0.1\""_s, u"\"files.example\""_s);
    text.replace(m_plait.dataHome() + u"/plait/plait.conf"_s, u"/home/anna/.config/plait/plait.conf"_s);
    text.replace(m_plait.dataHome(), u"/home/anna/.local/share"_s);
    text.replace(m_plait.downloads(), u"/home/anna/Downloads"_s);
    text.replace(QFileInfo(m_plait.downloads()).path() + u"/home"_s, u"/home/anna"_s);
    replaceAll(text, u"\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ"_s, u"2026-01-02T03:04:05Z"_s);
    replaceAll(text, u"\\bin \\d+\\.\\d s( \\([0-9.]+ [KMG]?i?B/s\\))?"_s, u"in 0.1 s (1.5 MiB/s)"_s);
    replaceAll(text, u"\"seconds\":[-.e0-9]+"_s, u"\"seconds\":0.1"_s);
    replaceAll(text, u"^etag +\".*\"$"_s, u"etag          \"6957309d-493e0\""_s);
    // How far it is after five seconds is told only where it takes that long.
    replaceAll(text, u"^[^\\s:]+: \\d+% .*\\n"_s, QString());
    replaceAll(text, u", [0-9.]+ [KM]?i?B of it in"_s, u", 108.4 KiB of it in"_s);
    replaceAll(text, u"( stopped.*), [0-9.]+ [KM]?i?B in"_s, u"\\1, 108.4 KiB in"_s);
    replaceAll(text, u"^  stopped: lecture.webm, talk.webm$"_s, u"  stopped: talk.webm, lecture.webm"_s);
    steadyShares(text);
    if (telling != Telling::Amounts)
        return text;
    replaceAll(text, u"^downloaded +\\d+ "_s, u"downloaded    111000 "_s);
    replaceAll(text, u"^section +\\d+ of"_s, u"section       111000 of"_s);
    replaceAll(text, u": \\d+\\.\\d KiB in"_s, u": 108.4 KiB in"_s);
    return text;
}

QByteArray TestPlaitTour::complaint() const
{
    return "status " + QByteArray::number(m_result.status) + '\n' + m_result.out + m_result.err;
}

/// Not told.
QList<QJsonObject> TestPlaitTour::listed(const QStringList &arguments)
{
    const PlaitResult result = m_plait.runBare(QStringList{u"list"_s, u"--json"_s, u"-n"_s, u"0"_s} + arguments);
    QList<QJsonObject> objects;
    for (const QByteArray &line : result.out.split('\n')) {
        if (!line.isEmpty())
            objects.append(QJsonDocument::fromJson(line).object());
    }
    return objects;
}

/// Of the newest download from there.
QString TestPlaitTour::idOf(const QString &url)
{
    const QList<QJsonObject> all = listed({});
    const auto it = std::find_if(all.rbegin(), all.rend(), [&url](const QJsonObject &object) {
        return object.value(u"url"_s).toString() == url;
    });
    return it == all.rend() ? QString() : QString::number(it->value(u"id"_s).toInteger());
}

void TestPlaitTour::filesAreFetchedUnderTheirNames()
{
    title(u"Fetching"_s);
    tell(
        u"Give it an address. The file lies in the current folder when the exit status is 0, under the server's name."_s);
    QVERIFY2(walk({url(u"song.ogg"_s)}, kDone), complaint());
    QVERIFY(sees("Saved \""));
    QVERIFY(isWhole(u"song.ogg"_s, u"song.ogg"_s));

    tell(u"Several addresses, two at a time, into a folder that need not be there:"_s);
    QVERIFY2(walk({u"get"_s, url(u"cover.jpg"_s), url(u"notes.txt"_s), u"-j"_s, u"2"_s, u"-d"_s, u"album"_s}, kDone,
                  Telling::Sorted),
             complaint());
    QVERIFY(isWhole(u"album/cover.jpg"_s, u"cover.jpg"_s));
    QVERIFY(isWhole(u"album/notes.txt"_s, u"notes.txt"_s));

    tell(u"The addresses may stand in a file; blank lines and those that begin with `#` do not count. `-j 1` takes "
         u"them\n"
         u"one after the other."_s);
    QFile file(m_plait.path(u"urls.txt"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        QString(u"# what is still missing\n\n"_s + url(u"one.zip"_s) + u'\n' + url(u"two.zip"_s) + u'\n').toUtf8());
    file.close();
    QVERIFY2(walk({u"-i"_s, u"urls.txt"_s, u"-j"_s, u"1"_s}, kDone), complaint());
    QVERIFY(isWhole(u"one.zip"_s, u"one.zip"_s));
    QVERIFY(isWhole(u"two.zip"_s, u"two.zip"_s));

    tell(u"The same command again fetches what is missing, and nothing else; so it may be repeated for ever:"_s);
    QVERIFY2(walk({u"-i"_s, u"urls.txt"_s, u"-j"_s, u"1"_s}, kDone), complaint());
    QVERIFY(sees("one.zip\": it is there already"));

    tell(u"With `-N` the server is asked whether what is there is its file still:"_s);
    QVERIFY2(walk({u"-N"_s, url(u"song.ogg"_s)}, kDone), complaint());
    QVERIFY(sees("it is up to date"));

    tell(u"What would be fetched, to where, and over how many connections, says a dry run:"_s);
    QVERIFY2(walk({u"--dry-run"_s, u"-x"_s, u"3"_s, url(u"one.zip"_s), url(u"disk.img"_s)}, kDone), complaint());
    QVERIFY(sees("3 connections at most"));
    QVERIFY(!m_plait.has(u"disk.img"_s));

    tell(u"`-o -` writes to standard output, for who reads it there:"_s);
    const QByteArray words = "What is in it.\n";
    QFile text(QDir(m_servers.nginx().folder()).filePath(u"words.txt"_s));
    QVERIFY(text.open(QIODevice::WriteOnly) && text.write(words) == words.size());
    text.close();
    QVERIFY2(walk({u"-q"_s, u"-o"_s, u"-"_s, url(u"words.txt"_s)}, kDone), complaint());
    QCOMPARE(m_result.out, words);
}

void TestPlaitTour::aNameThatIsTakenIsTreatedAsAsked()
{
    title(u"Names"_s);
    tell(u"`-o` gives the file another name."_s);
    QVERIFY2(walk({u"-o"_s, u"report.txt"_s, url(u"draft1.txt"_s)}, kDone), complaint());
    QVERIFY(isWhole(u"report.txt"_s, u"draft1.txt"_s));

    tell(u"If that is taken, the new file gets a number, and the old one is left alone:"_s);
    QVERIFY2(walk({u"-o"_s, u"report.txt"_s, url(u"draft2.txt"_s)}, kDone), complaint());
    QVERIFY(isWhole(u"report.txt"_s, u"draft1.txt"_s));
    QVERIFY(isWhole(u"report (1).txt"_s, u"draft2.txt"_s));
    const QStringList before = m_plait.files();

    tell(u"That was `--on-exists rename`. With `fail` a name that is taken is an error:"_s);
    QVERIFY2(walk({u"-o"_s, u"report.txt"_s, u"--on-exists"_s, u"fail"_s, url(u"draft3.txt"_s)}, kFileExists),
             complaint());
    tell(u"`skip` leaves the file alone, too:"_s);
    walk({u"-o"_s, u"report.txt"_s, u"--on-exists"_s, u"skip"_s, url(u"draft4.txt"_s)}, kFileExists);
    QVERIFY2(m_result.status >= 0, complaint());
    tell(u"`ask` asks; where nobody can answer, it leaves the file alone as well:"_s);
    walk({u"-o"_s, u"report.txt"_s, u"--on-exists"_s, u"ask"_s, url(u"draft5.txt"_s)}, kFileExists);
    QVERIFY2(m_result.status > 0, complaint());
    QVERIFY(isWhole(u"report.txt"_s, u"draft1.txt"_s));
    QCOMPARE(m_plait.files(), before);

    tell(u"`overwrite` replaces it, once the new file is complete:"_s);
    QVERIFY2(walk({u"-o"_s, u"report.txt"_s, u"--on-exists"_s, u"overwrite"_s, url(u"draft6.txt"_s)}, kDone),
             complaint());
    QVERIFY(isWhole(u"report.txt"_s, u"draft6.txt"_s));
    QCOMPARE(m_plait.files(), before);

    tell(u"What was refused waits in the list. We do not want it:"_s);
    QStringList command{u"remove"_s};
    for (const QJsonObject &object : listed({u"--unfinished"_s}))
        command.append(QString::number(object.value(u"id"_s).toInteger()));
    QVERIFY2(command.size() > 1, "there is nothing unfinished");
    QVERIFY2(walk(command, kDone), complaint());
    QVERIFY(listed({u"--unfinished"_s}).isEmpty());
}

void TestPlaitTour::connectionsSpeedAndSourcesCanBeChosen()
{
    title(u"Connections, speed, mirrors"_s);
    tell(u"A server that limits each connection is outrun by several of them. `-x` says how many there may be; the "
         u"last\n"
         u"line says how many there were, and why not more."_s);
    QVERIFY2(walk({u"-x"_s, u"3"_s, url(u"rate/150k/disk.img"_s)}, kDone), complaint());
    QVERIFY(isWhole(u"disk.img"_s, u"disk.img"_s));
    QVERIFY2(sees("3 connections at most: limit of 3 reached"), complaint());

    tell(u"`--limit-rate` leaves some of the line to others:"_s);
    QVERIFY2(walk({u"--limit-rate"_s, u"100K"_s, url(u"slow.bin"_s)}, kDone), complaint());
    QVERIFY(isWhole(u"slow.bin"_s, u"slow.bin"_s));

    tell(u"The same file may lie in several places. The first of these addresses is dead; it is put aside:"_s);
    QVERIFY2(walk({url(u"dead/mirrored.bin"_s), u"--mirror"_s, url(u"mirrored.bin"_s)}, kDone), complaint());
    QVERIFY2(sees("HTTP status 404; trying another address"), complaint());
    QVERIFY(isWhole(u"mirrored.bin"_s, u"mirrored.bin"_s));
}

void TestPlaitTour::aChecksumTellsWhetherItIsTheFileThatWasMeant()
{
    title(u"Checksums"_s);
    const Served &tool = served(u"tool.tar"_s);
    const QString right = QString::fromLatin1(TestFiles::sha256OfContent(tool.seed, tool.size));
    tell(u"With `--checksum`, 0 means that the file is the one that was meant."_s);
    QVERIFY2(walk({u"--checksum"_s, u"sha-256="_s + right, url(u"tool.tar"_s)}, kDone), complaint());
    QVERIFY(isWhole(u"tool.tar"_s, u"tool.tar"_s));

    tell(u"If it is another one, it stays for you to look at, and the exit status is 32:"_s);
    QVERIFY2(walk({u"--checksum"_s, u"sha-256="_s + right, url(u"tool2.tar"_s)}, kChecksumMismatch), complaint());
    QVERIFY(isWhole(u"tool2.tar"_s, u"tool2.tar"_s));
    QVERIFY(sees("is not the file that was meant"));
}

void TestPlaitTour::theListAndTheServerAreAsked()
{
    title(u"Looking"_s);
    tell(u"All downloads are in the list: number, state, size, name."_s);
    QVERIFY2(walk({u"list"_s}, kDone), complaint());
    QVERIFY(sees("done         293.0 KiB  song.ogg\n"));
    tell(u"Those that have a word in their name or address, and those that failed:"_s);
    QVERIFY2(walk({u"list"_s, u"report"_s}, kDone), complaint());
    QVERIFY2(walk({u"list"_s, u"--failed"_s}, kDone), complaint());
    tell(u"By name, size or time, and no more lines than are wanted:"_s);
    QVERIFY2(walk({u"list"_s, u"--sort"_s, u"name"_s, u"-n"_s, u"3"_s}, kDone), complaint());
    QVERIFY2(m_result.out.indexOf("cover.jpg") < m_result.out.indexOf("disk.img"), complaint());
    QVERIFY2(walk({u"list"_s, u"--sort"_s, u"size"_s, u"-n"_s, u"3"_s}, kDone), complaint());
    QVERIFY2(walk({u"list"_s, u"--sort"_s, u"time"_s, u"-n"_s, u"1"_s}, kDone), complaint());
    tell(u"For programs, one JSON object a line (see [json.md](json.md)):"_s);
    QVERIFY2(walk({u"list"_s, u"--json"_s, u"-n"_s, u"1"_s}, kDone), complaint());
    QCOMPARE(QJsonDocument::fromJson(m_result.out).object().value(u"name"_s).toString(), u"tool2.tar"_s);

    tell(u"All that is known of one:"_s);
    const QString id = idOf(url(u"song.ogg"_s));
    QVERIFY2(walk({u"show"_s, id}, kDone), complaint());
    QVERIFY(sees("size          300000 bytes\n"));

    tell(u"What an address holds, without fetching it:"_s);
    const QStringList before = m_plait.files();
    QVERIFY2(walk({u"query"_s, url(u"talk.webm"_s)}, kDone), complaint());
    QVERIFY(sees("Size: 300000 bytes (293.0 KiB)\n"));
    QVERIFY(sees("Resume: yes\n"));
    QVERIFY2(walk({u"query"_s, u"--json"_s, url(u"talk.webm"_s)}, kDone), complaint());
    QCOMPARE(m_plait.files(), before);

    tell(u"Whether the server still has the same file:"_s);
    QVERIFY2(walk({u"check"_s, id}, kDone), complaint());
    QVERIFY(sees("the server has the same file"));
}

void TestPlaitTour::whatWasStoppedGoesOn()
{
    title(u"Stopping and going on"_s);
    tell(u"Ctrl-C or SIGTERM stops in order. Nothing is lost; the exit status is 7."_s);
    const QString first = url(u"rate/40k/talk.webm"_s);
    const QString second = url(u"rate/40k/lecture.webm"_s);
    QVERIFY2(walkAndStop({first, second}, {u"talk.webm"_s, u"lecture.webm"_s}), complaint());
    QVERIFY(sees("run the same command again to resume"));
    for (const QString &name : {u"talk.webm"_s, u"lecture.webm"_s}) {
        QVERIFY(m_plait.has(name + u".part"_s));
        QVERIFY(!m_plait.has(name));
    }

    tell(u"What is missing, and how much of one is there. An incomplete file has `.part` behind its name."_s);
    QVERIFY2(walk({u"list"_s, u"--unfinished"_s}, kDone), complaint());
    QCOMPARE(m_result.out.count('\n'), 2);
    QVERIFY2(walk({u"show"_s, idOf(first)}, kDone, Telling::Amounts), complaint());
    QVERIFY(sees("talk.webm.part\n"));
    QVERIFY(sees("state         unfinished\n"));

    tell(u"Go on with one of them, or with all. Running the first command again would do as well."_s);
    QVERIFY2(walk({u"resume"_s, idOf(first)}, kDone), complaint());
    QVERIFY(isWhole(u"talk.webm"_s, u"talk.webm"_s));
    QVERIFY(m_plait.has(u"lecture.webm.part"_s));
    QVERIFY2(walk({u"resume"_s, u"--all"_s}, kDone), complaint());
    QVERIFY(isWhole(u"lecture.webm"_s, u"lecture.webm"_s));
    QVERIFY(!m_plait.has(u"lecture.webm.part"_s));
    QTRY_COMPARE_WITH_TIMEOUT(m_servers.nginx().logEntries().last().status, 206, RealServer::kPatienceMs);
    QVERIFY2(walk({u"resume"_s, u"--all"_s}, kDone), complaint());
    QVERIFY(sees("nothing unfinished"));
}

void TestPlaitTour::aChangedFileIsFetchedAgain()
{
    title(u"When the server has another file"_s);
    tell(u"The song was published anew."_s);
    const QString id = idOf(url(u"song.ogg"_s));
    QVERIFY(TestFiles::writeFile(QDir(m_servers.nginx().folder()).filePath(u"song.ogg"_s), served(u"disk.img"_s).seed,
                                 kMedium + 1));
    QVERIFY2(walk({u"check"_s, id}, kResourceChanged), complaint());
    QVERIFY(isWhole(u"song.ogg"_s, u"song.ogg"_s));
    QVERIFY2(walk({u"restart"_s, id}, kDone), complaint());
    QCOMPARE(TestFiles::sha256OfFile(m_plait.path(u"song.ogg"_s)),
             TestFiles::sha256OfContent(served(u"disk.img"_s).seed, kMedium + 1));
    QVERIFY2(walk({u"check"_s, id}, kDone), complaint());
}

void TestPlaitTour::aFreshAddressTakesOverFromAnOldOne()
{
    title(u"A fresh address"_s);
    tell(
        u"Addresses that are good for a day die in the middle of a download. Give it the new one, and go on with what\n"
        u"is there:"_s);
    const QString old = url(u"rate/40k/moved.webm"_s);
    QVERIFY2(walkAndStop({old}, {u"moved.webm"_s}), complaint());
    const QString id = idOf(old);
    QVERIFY2(walk({u"set-url"_s, id, url(u"moved.webm"_s)}, kDone), complaint());
    QVERIFY(!sees("cannot"));
    QVERIFY2(walk({u"resume"_s, id}, kDone), complaint());
    QVERIFY(isWhole(u"moved.webm"_s, u"moved.webm"_s));
    QCOMPARE(idOf(url(u"moved.webm"_s)), id);
    QTRY_COMPARE_WITH_TIMEOUT(m_servers.nginx().logEntries().last().target, QByteArray("/moved.webm"),
                              RealServer::kPatienceMs);
    QVERIFY(m_servers.nginx().logEntries().last().bytes < kMedium);
}

void TestPlaitTour::onlyOnePieceFromTheStartCanBeFinished()
{
    title(u"Being content with what is there"_s);
    tell(
        u"The beginning of a log may be enough. `finish` makes a file of what has come, if that is one piece from the\n"
        u"start:"_s);
    const QString part = url(u"rate/40k/part.log"_s);
    QVERIFY2(walkAndStop({part}, {u"part.log"_s}), complaint());
    const QString id = idOf(part);
    QVERIFY2(walk({u"finish"_s, id}, kDone, Telling::Amounts), complaint());
    QVERIFY(!m_plait.has(u"part.log.part"_s));
    QVERIFY(QFileInfo(m_plait.path(u"part.log"_s)).size() < kMedium);
    QVERIFY(hasBeginningOf(u"part.log"_s, u"part.log"_s));

    tell(u"What came over several connections has holes, and no file is made of it:"_s);
    const QString holes = url(u"rate/40k/holes.img"_s);
    const qsizetype before = m_plait.listedPieces().size();
    QVERIFY2(walkAndStop({u"-x"_s, u"2"_s, holes}, {u"holes.img"_s}, int(before) + 2), complaint());
    QVERIFY2(walk({u"finish"_s, idOf(holes)}, kUnknown), complaint());
    QVERIFY(sees("the file would have holes"));
    QVERIFY(m_plait.has(u"holes.img.part"_s));
    QVERIFY(!m_plait.has(u"holes.img"_s));
}

void TestPlaitTour::downloadsAreTakenOffTheList()
{
    title(u"Tidying up"_s);
    tell(u"`remove` takes a download off the list; the file stays, unless it is to go, too."_s);
    const QString kept = idOf(url(u"song.ogg"_s));
    QVERIFY2(walk({u"remove"_s, kept}, kDone), complaint());
    QVERIFY(m_plait.has(u"song.ogg"_s));
    const QString gone = idOf(url(u"rate/40k/holes.img"_s));
    QVERIFY2(walk({u"remove"_s, u"--delete-file"_s, gone}, kDone), complaint());
    QVERIFY(!m_plait.has(u"holes.img.part"_s));
    QVERIFY2(walk({u"show"_s, kept}, kUnknown), complaint());
    QVERIFY(sees("there is no download"));
    QVERIFY(listed({u"--unfinished"_s}).isEmpty());

    tell(u"What is done, or gone, leaves the list with one word; what is not the file that was meant stays:"_s);
    QVERIFY2(walk({u"clean"_s}, kDone), complaint());
    const QList<QJsonObject> left = listed({});
    QVERIFY(left.size() == 1 && left.first().value(u"name"_s).toString() == u"tool2.tar"_s);
}

void TestPlaitTour::settingsStandForOptions()
{
    title(u"Settings"_s);
    tell(u"Options that are always wanted stand in a file, here with these lines:"_s);
    const QByteArray settings = "dir = archive\nmax-connections = 4\nlimit-rate = 2M\n";
    const QString path = m_plait.dataHome() + u"/plait/plait.conf"_s;
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(settings) == settings.size());
    file.close();
    m_page += u"\n```\n"_s + QString::fromUtf8(settings) + u"```\n"_s;
    tell(u"`config` prints what holds, and where it comes from, what the command line says included:"_s);
    QVERIFY2(walk({u"config"_s, u"-x"_s, u"2"_s}, kDone), complaint());
    QVERIFY2(sees("\nmax-connections = 2\n") && sees("\nlimit-rate = 2M\n"), complaint());
    QVERIFY2(walk({url(u"settled.zip"_s)}, kDone), complaint());
    QVERIFY(isWhole(u"archive/settled.zip"_s, u"settled.zip"_s));

    tell(u"A mistake is said with its line:"_s);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("max-speed = 2M\n") > 0);
    file.close();
    QVERIFY2(walk({u"list"_s}, kBadOption), complaint());
    QVERIFY(sees("plait.conf:1: \"max-speed\" is no setting"));
    QVERIFY(QFile::remove(path));
}

void TestPlaitTour::failuresHaveStatusesOfTheirOwn()
{
    title(u"Failures"_s);
    tell(u"Every failure says what was wrong and what to do, and has an exit status of its own. The\n"
         u"[table](manual.md#exit-status) has them all."_s);
    const QStringList before = m_plait.files();
    QVERIFY2(walk({url(u"nothing.zip"_s)}, kNotFound), complaint());
    QVERIFY2(walk({url(u"status/401"_s)}, kAuthentication), complaint());
    QVERIFY2(walk({u"--speed"_s, u"9"_s, url(u"one.zip"_s)}, kBadOption), complaint());
    QVERIFY2(walk({u"gopher://files.example/1"_s}, kBadOption), complaint());
    QVERIFY2(walk({u"resume"_s, u"4711"_s}, kUnknown), complaint());
    tell(u"Of several, the first failure decides; the others are fetched all the same:"_s);
    QVERIFY2(walk({u"-j"_s, u"1"_s, u"-d"_s, u"more"_s, url(u"nothing.zip"_s), url(u"two.zip"_s)}, kNotFound),
             complaint());
    QVERIFY(isWhole(u"more/two.zip"_s, u"two.zip"_s));
    QCOMPARE(m_plait.files(), before);
}

void TestPlaitTour::theWalkIsTheOneOfThePage()
{
    QFile page(QStringLiteral(PLAIT_TOUR_PAGE));
    if (qEnvironmentVariableIntValue("PLAIT_WRITE_TOUR") != 0) {
        QVERIFY2(page.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(page.errorString()));
        const QByteArray text = m_page.toUtf8();
        QCOMPARE(page.write(text), text.size());
        return;
    }
    QVERIFY2(page.open(QIODevice::ReadOnly), qPrintable(page.errorString()));
    const QStringList told = QString::fromUtf8(page.readAll()).split(u'\n');
    const QStringList walked = m_page.split(u'\n');
    for (qsizetype i = 0; i < std::max(told.size(), walked.size()); ++i) {
        const QString where =
            u"line %1 of docs/tour.md is\n  %2\nand the walk went\n  %3\nPLAIT_WRITE_TOUR=1 writes the "
            u"page anew"_s.arg(QString::number(i + 1), told.value(i), walked.value(i));
        QVERIFY2(told.value(i) == walked.value(i), qPrintable(where));
    }
    QCOMPARE(walked.size(), told.size());
}

QTEST_GUILESS_MAIN(TestPlaitTour)
#include "tst_plait_tour.moc"
