// SPDX-License-Identifier: MIT
#include <host/storage/logfile.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr mode_t kOwnerOnly = 0600;

mode_t rightsOf(const QString &path)
{
    struct stat found = {};
    return lstat(QFile::encodeName(path).constData(), &found) == 0 ? found.st_mode & 07777 : 0;
}

bool writeFile(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

QString longLine()
{
    return u"abcdefg "_s.repeated(LogFile::kLongestText / 8);
}

/// While it lives, nothing is taken from the rights that a file is made with.
class NoUmask
{
    Q_DISABLE_COPY_MOVE(NoUmask)

public:
    NoUmask()
        : m_before(umask(0))
    {
    }
    ~NoUmask() { umask(m_before); }

private:
    const mode_t m_before;
};

}

class TestLogFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aLineHasTimeLevelAndText();
    void aLineIsOneLineWithoutSecretsAndCommands();
    void aLineIsNeverTooLong();
    void itIsAppendedTo();
    void theOwnerAloneReadsIt_data();
    void theOwnerAloneReadsIt();
    void itsFolderIsMadeForTheOwnerAlone();
    void whatIsNoPlainFileIsRefused_data();
    void whatIsNoPlainFileIsRefused();
    void itIsBoundedWhileItIsWritten();
    void aFullOneIsMovedAsideWhenItIsOpened();
    void twoProgramsShareOne();
    void whatCannotBeMovedAsideEndsTheLog();
    void aLinkInAnOldOnesPlaceIsNotFollowed();

private:
    QByteArray content(int old = 0) const;
    qint64 totalSize() const;
    bool open(LogFile &file);

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
    Clause m_why;
};

void TestLogFile::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_path = m_dir->filePath(u"plait.log"_s);
    m_why = {};
}

QByteArray TestLogFile::content(int old) const
{
    return TestFiles::readFile(old == 0 ? m_path : m_path + u'.' + QString::number(old));
}

qint64 TestLogFile::totalSize() const
{
    qint64 sum = 0;
    const QFileInfoList files = QDir(m_dir->path()).entryInfoList(QDir::Files);
    for (const QFileInfo &file : files)
        sum += file.size();
    return sum;
}

bool TestLogFile::open(LogFile &file)
{
    return file.open(m_path, &m_why);
}

void TestLogFile::aLineHasTimeLevelAndText()
{
    LogFile file;
    QVERIFY2(open(file), qPrintable(m_why.plain()));
    file.write(4, u"writer opened."_s);
    const QRegularExpression form(uR"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3} 4 writer opened\.\n$)"_s);
    QVERIFY2(form.match(QString::fromUtf8(content())).hasMatch(), content().constData());
}

void TestLogFile::aLineIsOneLineWithoutSecretsAndCommands()
{
    LogFile file;
    QVERIFY2(open(file), qPrintable(m_why.plain()));
    file.write(1, u"a\r\nb \u001b[2J \u202e http://me:pw@host/x?token=y\nCookie: id=z"_s);
    const QByteArray text = content();
    QCOMPARE(text.count('\n'), 1);
    QVERIFY2(text.endsWith(" 1 a\\u000d\\u000ab \\u001b[2J \\u202e http://…@host/x?…\\u000aCookie: …\n"),
             text.constData());
}

void TestLogFile::aLineIsNeverTooLong()
{
    LogFile file;
    QVERIFY2(open(file), qPrintable(m_why.plain()));
    file.write(1, u"short http://me:"_s + QString(LogFile::kMostBytes, u'x') + u"@host/ behind"_s);
    QVERIFY2(content().endsWith(" 1 short …\n"), content().right(200).constData());
    file.write(1, u"ab "_s.repeated(LogFile::kLongestText));
    QVERIFY(content().size() < LogFile::kLongestText + 200);
    QVERIFY2(content().endsWith("ab …\n"), content().right(200).constData());
}

void TestLogFile::itIsAppendedTo()
{
    for (int run = 0; run < 2; ++run) {
        LogFile file;
        QVERIFY2(open(file), qPrintable(m_why.plain()));
        file.write(1, u"line"_s);
    }
    QCOMPARE(content().count('\n'), 2);
}

void TestLogFile::theOwnerAloneReadsIt_data()
{
    QTest::addColumn<int>("rightsBefore");
    QTest::newRow("a new one") << -1;
    QTest::newRow("one that all could read") << 0644;
    QTest::newRow("one that all could write") << 0666;
    QTest::newRow("one that nobody could read") << 0200;
}

void TestLogFile::theOwnerAloneReadsIt()
{
    QFETCH(int, rightsBefore);
    const NoUmask everythingIsAllowed;
    const QString old = m_path + u".2"_s;
    if (rightsBefore >= 0) {
        for (const QString &path : {m_path, old}) {
            QVERIFY(writeFile(path, "before\n"));
            QCOMPARE(chmod(QFile::encodeName(path).constData(), mode_t(rightsBefore)), 0);
        }
    }
    LogFile file;
    QVERIFY2(open(file), qPrintable(m_why.plain()));
    QCOMPARE(rightsOf(m_path), kOwnerOnly);
    if (rightsBefore >= 0)
        QCOMPARE(rightsOf(old), kOwnerOnly);
    file.write(1, u"line"_s);
    QVERIFY(content().endsWith("line\n"));
}

void TestLogFile::itsFolderIsMadeForTheOwnerAlone()
{
    const NoUmask everythingIsAllowed;
    const QString folder = m_dir->filePath(u"state/plait"_s);
    LogFile file;
    QVERIFY2(file.open(folder + "/plait.log"_L1, &m_why), qPrintable(m_why.plain()));
    QCOMPARE(rightsOf(folder), mode_t(0700));
}

void TestLogFile::whatIsNoPlainFileIsRefused_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<Clause>("reason");
    QTest::newRow("a link to a file") << QByteArray("link") << Clause(Clause::Kind::SymbolicLink);
    QTest::newRow("a link to nothing") << QByteArray("dangling") << Clause(Clause::Kind::SymbolicLink);
    QTest::newRow("a file with another name") << QByteArray("hard") << Clause(Clause::Kind::HasOtherName);
    QTest::newRow("a fifo that nobody reads") << QByteArray("fifo") << Clause();
    QTest::newRow("a folder") << QByteArray("folder") << Clause();
}

void TestLogFile::whatIsNoPlainFileIsRefused()
{
    QFETCH(QByteArray, kind);
    QFETCH(Clause, reason);
    const QString victim = m_dir->filePath(u"victim"_s);
    const QByteArray victimPath = QFile::encodeName(victim);
    const QByteArray path = QFile::encodeName(m_path);
    if (kind != "dangling")
        QVERIFY(writeFile(victim, "theirs\n"));
    if (kind == "link" || kind == "dangling")
        QCOMPARE(symlink(victimPath.constData(), path.constData()), 0);
    else if (kind == "hard")
        QCOMPARE(link(victimPath.constData(), path.constData()), 0);
    else if (kind == "fifo")
        QCOMPARE(mkfifo(path.constData(), 0666), 0);
    else
        QVERIFY(QDir().mkdir(m_path));
    const mode_t rights = rightsOf(victim);
    LogFile file;
    QVERIFY(!open(file));
    QVERIFY2(!m_why.isEmpty() && (reason.isEmpty() || m_why == reason), qPrintable(m_why.plain()));
    file.write(1, u"goes nowhere"_s);
    QCOMPARE(TestFiles::readFile(victim), kind == "dangling" ? QByteArray() : QByteArray("theirs\n"));
    QCOMPARE(rightsOf(victim), rights);
}

void TestLogFile::itIsBoundedWhileItIsWritten()
{
    LogFile file;
    QVERIFY2(open(file), qPrintable(m_why.plain()));
    const QString line = longLine();
    const qint64 most = (LogFile::kOldFiles + 1) * LogFile::kMostBytes;
    const int count = int(2 * most / longLine().size());
    for (int i = 0; i < count; ++i)
        file.write(1, line);
    file.write(1, u"the last"_s);
    QVERIFY(totalSize() <= most);
    QVERIFY(totalSize() > LogFile::kOldFiles * LogFile::kMostBytes);
    QVERIFY(content().endsWith("the last\n"));
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files),
             (QStringList{u"plait.log"_s, u"plait.log.1"_s, u"plait.log.2"_s, u"plait.log.3"_s}));
    for (int old = 0; old <= LogFile::kOldFiles; ++old) {
        QVERIFY(content(old).size() <= LogFile::kMostBytes);
        QCOMPARE(rightsOf(old == 0 ? m_path : m_path + u'.' + QString::number(old)), kOwnerOnly);
    }
}

void TestLogFile::aFullOneIsMovedAsideWhenItIsOpened()
{
    const QByteArray before(LogFile::kMostBytes, 'x');
    QVERIFY(writeFile(m_path, before));
    QVERIFY(writeFile(m_path + u".1"_s, "older\n"));
    LogFile file;
    QVERIFY2(open(file), qPrintable(m_why.plain()));
    file.write(1, u"line"_s);
    QCOMPARE(content().count('\n'), 1);
    QVERIFY(content(1) == before);
    QCOMPARE(content(2), "older\n");
}

void TestLogFile::twoProgramsShareOne()
{
    LogFile one;
    LogFile other;
    QVERIFY2(open(one) && open(other), qPrintable(m_why.plain()));
    one.write(1, u"first"_s);
    const QString line = longLine();
    while (content(1).isEmpty())
        other.write(1, line);
    one.write(1, u"second"_s);
    QVERIFY(content(1).contains("first\n") && !content(1).contains("second\n"));
    QVERIFY(content().endsWith("second\n"));
    QVERIFY(content(2).isEmpty());
}

void TestLogFile::whatCannotBeMovedAsideEndsTheLog()
{
    QVERIFY(QDir().mkpath(m_path + u".1/full"_s));
    QVERIFY(QDir().mkpath(m_path + u".2/full"_s));
    LogFile file;
    QVERIFY2(open(file), qPrintable(m_why.plain()));
    const QString line = longLine();
    for (qint64 i = 0; i < 2 * LogFile::kMostBytes / longLine().size(); ++i)
        file.write(1, line);
    QVERIFY(content().size() <= LogFile::kMostBytes);
    QVERIFY(QDir(m_path + u".1/full"_s).exists() || QDir(m_path + u".2/full"_s).exists());
}

void TestLogFile::aLinkInAnOldOnesPlaceIsNotFollowed()
{
    const QString victim = m_dir->filePath(u"victim"_s);
    QVERIFY(writeFile(victim, "theirs\n"));
    QCOMPARE(chmod(QFile::encodeName(victim).constData(), 0644), 0);
    QVERIFY(QFile::link(victim, m_path + u".1"_s));
    QVERIFY(writeFile(m_path, QByteArray(LogFile::kMostBytes, 'x')));
    LogFile file;
    QVERIFY2(open(file), qPrintable(m_why.plain()));
    QCOMPARE(rightsOf(victim), mode_t(0644));
    file.write(1, u"line"_s);
    QCOMPARE(TestFiles::readFile(victim), "theirs\n");
    QCOMPARE(content(1).size(), LogFile::kMostBytes);
}

QTEST_GUILESS_MAIN(TestLogFile)
#include "tst_logfile.moc"
