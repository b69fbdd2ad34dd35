// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <host/storage/stores.h>
#include <tests/support/ordinaryuser.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <utility>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

/// To whom an OrdinaryUser is, where this process is root.
void giveAway(const QString &folder)
{
    constexpr uid_t kNobody = 65534;
    QStringList paths{folder};
    QDirIterator all(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (all.hasNext())
        paths.append(all.next());
    for (const QString &path : std::as_const(paths)) {
        if (::geteuid() == 0 && ::chown(QFile::encodeName(path).constData(), kNobody, gid_t(-1)) != 0)
            qWarning("it stays root's");
    }
}

mode_t modeOf(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

bool setMode(const QString &path, mode_t mode)
{
    return ::chmod(QFile::encodeName(path).constData(), mode) == 0;
}

}

/// Which store there is, in which surroundings.
class TestStores : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void theUsualPlaceIsAFile();
    void whereNothingCanBeKeptItIsInMemory_data();
    void whereNothingCanBeKeptItIsInMemory();
    void aListThatIsThereIsNotPassedOver();
    void aListThatCannotBeWrittenIsReadAndNoMore_data();
    void aListThatCannotBeWrittenIsReadAndNoMore();
    void aListIsClosedToOthersAndNoMore();
    void aNamedFileHasToBeUsable();
    void whatIsNotToBeKeptIsNot();

private:
    bool isWorking(DownloadStore &store)
    {
        AbstractDownloadPersistentInfo record;
        return store.insert(record) == 1 && store.list().size() == 1;
    }
    QStringList files() const
    {
        return QDir(m_dir->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<QTemporaryDir> m_dir;
    const QByteArray m_home = qgetenv("HOME");
};

void TestStores::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    qunsetenv("XDG_DATA_HOME");
    qputenv("HOME", QFile::encodeName(m_dir->path()));
}

void TestStores::cleanup()
{
    qputenv("HOME", m_home);
    qunsetenv("XDG_DATA_HOME");
}

void TestStores::theUsualPlaceIsAFile()
{
    Failure failure;
    const std::unique_ptr<DownloadStore> store = Stores::open({}, &failure);
    QVERIFY2(store, qPrintable(failure.plain()));
    QVERIFY(isWorking(*store) && !store->warning());
    QCOMPARE(store->path(), m_dir->filePath(u".local/share/plait/downloads.sqlite"_s));
    QVERIFY(QFile::exists(store->path()));
}

void TestStores::whereNothingCanBeKeptItIsInMemory_data()
{
    QTest::addColumn<QByteArray>("home");
    QTest::addColumn<QByteArray>("dataHome");
    QTest::addColumn<QString>("reason");
    QTest::newRow("no home folder") << QByteArray() << QByteArray() << u"no-home-folder"_s;
    QTest::newRow("nonsense for a home folder") << QByteArray("here") << QByteArray() << u"no-home-folder"_s;
    QTest::newRow("a home folder that is none") << QByteArray("/dev/null") << QByteArray() << u"folder-not-writable("_s;
    QTest::newRow("one that nobody can write") << QByteArray("/proc/self") << QByteArray() << u"folder-not-writable("_s;
    QTest::newRow("a folder for data that is none")
        << QByteArray("/tmp") << QByteArray("/dev/null/data") << u"folder-not-writable("_s;
}

void TestStores::whereNothingCanBeKeptItIsInMemory()
{
    QFETCH(QByteArray, home);
    QFETCH(QByteArray, dataHome);
    QFETCH(QString, reason);
    qunsetenv("HOME");
    if (!home.isEmpty())
        qputenv("HOME", home);
    if (!dataHome.isEmpty())
        qputenv("XDG_DATA_HOME", dataHome);
    Failure failure;
    const std::unique_ptr<DownloadStore> store = Stores::open({}, &failure);
    QVERIFY2(store, qPrintable(failure.plain()));
    QVERIFY(isWorking(*store) && store->path().isEmpty());
    QCOMPARE(store->warning().kind, Failure::Kind::ListInMemory);
    QVERIFY2(store->warning().plain().contains(reason), qPrintable(store->warning().plain()));
}

void TestStores::aListThatIsThereIsNotPassedOver()
{
    const QString folder = m_dir->filePath(u".local/share/plait"_s);
    QVERIFY(QDir().mkpath(folder + "/downloads.sqlite"_L1));
    Failure failure;
    QVERIFY(!Stores::open({}, &failure));
    QVERIFY2(failure.plain().contains(u"a-folder"_s), qPrintable(failure.plain()));
}

void TestStores::aListThatCannotBeWrittenIsReadAndNoMore_data()
{
    QTest::addColumn<QString>("below");
    QTest::addColumn<uint>("mode");
    QTest::addColumn<Clause::Kind>("reason");
    QTest::newRow("the file") << u"downloads.sqlite"_s << 0444U << Clause::Kind::FileNotWritable;
    QTest::newRow("its folder") << u"."_s << 0555U << Clause::Kind::FolderNotWritable;
}

void TestStores::aListThatCannotBeWrittenIsReadAndNoMore()
{
    QFETCH(QString, below);
    QFETCH(uint, mode);
    QFETCH(Clause::Kind, reason);
    Failure failure;
    QVERIFY(isWorking(*Stores::open({}, &failure)));
    const QString path = DownloadList::defaultPath();
    giveAway(m_dir->path());
    const OrdinaryUser user;
    QVERIFY(user.isOk());
    const QString closed = QFileInfo(path).dir().filePath(below);
    const mode_t before = modeOf(closed);
    QVERIFY(setMode(closed, mode));
    const auto backAgain = qScopeGuard([&] { setMode(closed, before); });

    const std::unique_ptr<DownloadStore> store = Stores::open({}, &failure);
    QVERIFY2(store, qPrintable(failure.plain()));
    QVERIFY(isWorking(*store) && store->path().isEmpty());
    QCOMPARE(store->warning().kind, Failure::Kind::ListInMemory);
    QCOMPARE(store->warning().cause.kind, reason);
    QVERIFY(!Stores::open({path}, &failure));
    QCOMPARE(failure.remedies, QList<Failure::Remedy>{Failure::Remedy::OtherList});
    failure = {};
    QVERIFY2(!Stores::open({.isNeeded = true}, &failure), "what it has would not be there");
    QCOMPARE(failure.kind, Failure::Kind::CannotOpenList);
    const std::unique_ptr<DownloadStore> readable = Stores::open({.isForReading = true}, &failure);
    QVERIFY2(readable, qPrintable(failure.plain()));
    QCOMPARE(readable->path(), path);
    QCOMPARE(readable->list().size(), 1);
    AbstractDownloadPersistentInfo record;
    QCOMPARE(readable->insert(record), qint64(0));
    QCOMPARE(modeOf(closed), mode_t(mode));
    QCOMPARE(QFileInfo(path).dir().entryList(QDir::Files), QStringList(u"downloads.sqlite"_s));
}

void TestStores::aListIsClosedToOthersAndNoMore()
{
    Failure failure;
    QVERIFY(Stores::open({}, &failure));
    const QString path = DownloadList::defaultPath();
    QVERIFY(setMode(path, 0644) && Stores::open({}, &failure));
    QCOMPARE(modeOf(path), mode_t(0600));
}

void TestStores::aNamedFileHasToBeUsable()
{
    Failure failure;
    QVERIFY(!Stores::open({u"/dev/null/list"_s}, &failure));
    QCOMPARE(failure.kind, Failure::Kind::CannotOpenList);
    qunsetenv("HOME");
    const std::unique_ptr<DownloadStore> store = Stores::open({m_dir->filePath(u"mine"_s)}, &failure);
    QVERIFY(store && isWorking(*store) && !store->warning());
    QCOMPARE(files().filter(u"mine"_s).isEmpty(), false);
}

void TestStores::whatIsNotToBeKeptIsNot()
{
    Failure failure;
    const std::unique_ptr<DownloadStore> store = Stores::open({.isKept = false}, &failure);
    QVERIFY(store && isWorking(*store) && !store->warning());
    QCOMPARE(files(), QStringList());
}

QTEST_GUILESS_MAIN(TestStores)
#include "tst_stores.moc"
