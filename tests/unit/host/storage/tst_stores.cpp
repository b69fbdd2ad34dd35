// SPDX-License-Identifier: MIT
#include <host/storage/stores.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

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
