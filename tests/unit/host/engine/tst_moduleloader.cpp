// SPDX-License-Identifier: MIT
#include <host/engine/moduleloader.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QString kId = u"downloadswww"_s;

QString folderOf(const QString &kind)
{
    return QStringLiteral(FAKE_MODULES) + u'/' + kind;
}

}

class TestModuleLoader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aModuleIsLoadedAndMakesDownloads();
    void foldersAreSearchedInOrder();
    void aModuleThatIsNowhereIsReportedWithAllFolders();
    void whatIsNoModuleIsReported_data();
    void whatIsNoModuleIsReported();
    void aFileThatIsNoLibraryIsReported();
    void theDefaultFoldersFollowTheEnvironment();
};

void TestModuleLoader::aModuleIsLoadedAndMakesDownloads()
{
    QObject parent;
    ModuleLoader loader({folderOf(u"good"_s)});
    AbstractDownloadModule *const module = loader.load(kId, &parent);
    QVERIFY2(module, qPrintable(loader.errorText()));
    QVERIFY(loader.errorText().isEmpty());
    QCOMPARE(module->parent(), &parent);
    QCOMPARE(module->uniqueId(), kId);
    const std::unique_ptr<AbstractDownload> download(module->createDownload(5, nullptr));
    QCOMPARE(download->id(), 5);
}

void TestModuleLoader::foldersAreSearchedInOrder()
{
    QObject parent;
    ModuleLoader goodFirst({u"/nowhere"_s, folderOf(u"good"_s), folderOf(u"version"_s)});
    QVERIFY2(goodFirst.load(kId, &parent), qPrintable(goodFirst.errorText()));
    ModuleLoader badFirst({folderOf(u"version"_s), folderOf(u"good"_s)});
    QVERIFY(!badFirst.load(kId, &parent));
}

void TestModuleLoader::aModuleThatIsNowhereIsReportedWithAllFolders()
{
    ModuleLoader loader({u"/nowhere"_s, u"/neither/here"_s});
    QVERIFY(!loader.load(kId, nullptr));
    for (const QString &part : {u"\"downloadswww\""_s, u"\"/nowhere\", \"/neither/here\""_s, u"PLAIT_MODULE_DIR"_s})
        QVERIFY2(loader.errorText().contains(part), qPrintable(loader.errorText()));
}

void TestModuleLoader::whatIsNoModuleIsReported_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("text");

    QTest::newRow("no entry symbol") << u"none"_s << u"it has no \"downloadsModuleEntry\""_s;
    QTest::newRow("another interface version") << u"version"_s << u"it does not speak interface version 43"_s;
    QTest::newRow("another module") << u"id"_s << u"it does not hold \"downloadswww\""_s;
}

void TestModuleLoader::whatIsNoModuleIsReported()
{
    QFETCH(QString, kind);
    QFETCH(QString, text);
    ModuleLoader loader({folderOf(kind)});
    QVERIFY(!loader.load(kId, nullptr));
    QVERIFY2(loader.errorText().contains(text), qPrintable(loader.errorText()));
    QVERIFY2(loader.errorText().contains(folderOf(kind)), qPrintable(loader.errorText()));
}

void TestModuleLoader::aFileThatIsNoLibraryIsReported()
{
    const QTemporaryDir dir;
    QFile file(dir.filePath(u"libdownloadswww.so"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("no library");
    file.close();
    ModuleLoader loader({dir.path()});
    QVERIFY(!loader.load(kId, nullptr));
    QVERIFY2(loader.errorText().startsWith(u"cannot load the module \"%1\": "_s.arg(file.fileName())),
             qPrintable(loader.errorText()));
}

void TestModuleLoader::theDefaultFoldersFollowTheEnvironment()
{
    const QString beside = QDir::cleanPath(QCoreApplication::applicationDirPath() + u"/../lib/plait"_s);
    qunsetenv("PLAIT_MODULE_DIR");
    QCOMPARE(ModuleLoader::defaultFolders().first(), beside);
    qputenv("PLAIT_MODULE_DIR", "/my/modules");
    const QStringList folders = ModuleLoader::defaultFolders();
    QCOMPARE(folders.first(), u"/my/modules"_s);
    QCOMPARE(folders.at(1), beside);
    QVERIFY(folders.last().endsWith(u"/plait"_s));
    qunsetenv("PLAIT_MODULE_DIR");
}

QTEST_GUILESS_MAIN(TestModuleLoader)
#include "tst_moduleloader.moc"
