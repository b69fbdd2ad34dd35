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

QString libraryOf(const QString &kind)
{
    return QStringLiteral(FAKE_MODULES) + u'/' + kind + "/libdownloadswww.so"_L1;
}

}

class TestModuleLoader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aModuleIsLoadedAndMakesDownloads();
    void whatIsNoModuleIsReported_data();
    void whatIsNoModuleIsReported();
    void aFileThatIsNoLibraryIsReported();
    void theDefaultFoldersFollowTheEnvironment();
};

void TestModuleLoader::aModuleIsLoadedAndMakesDownloads()
{
    QObject parent;
    Failure failure;
    const QList<AbstractDownloadModule *> modules = ModuleLoader::load(libraryOf(u"good"_s), &parent, &failure);
    QVERIFY2(!failure, qPrintable(failure.plain()));
    QCOMPARE(modules.size(), 1);
    QCOMPARE(modules.first()->parent(), &parent);
    QCOMPARE(modules.first()->uniqueId(), u"downloadswww"_s);
    const std::unique_ptr<AbstractDownload> download(modules.first()->createDownload(5, nullptr));
    QCOMPARE(download->id(), 5);
}

void TestModuleLoader::whatIsNoModuleIsReported_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("text");

    QTest::newRow("no entry symbol") << u"none"_s << u"no-entry-in(downloadsModuleEntry)"_s;
    QTest::newRow("another interface version") << u"version"_s << u"other-interface(43)"_s;
    QTest::newRow("an entry without a module") << u"id"_s << u"no-module-in"_s;
}

void TestModuleLoader::whatIsNoModuleIsReported()
{
    QFETCH(QString, kind);
    QFETCH(QString, text);
    Failure failure;
    QVERIFY(ModuleLoader::load(libraryOf(kind), nullptr, &failure).isEmpty());
    QCOMPARE(failure.kind, Failure::Kind::ModuleUnusable);
    QVERIFY2(failure.plain().startsWith(text), qPrintable(failure.plain()));
    QCOMPARE(failure.subject.path, libraryOf(kind));
}

void TestModuleLoader::aFileThatIsNoLibraryIsReported()
{
    const QTemporaryDir dir;
    QFile file(dir.filePath(u"libdownloadswww.so"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("no library");
    file.close();
    Failure failure;
    QVERIFY(ModuleLoader::load(file.fileName(), nullptr, &failure).isEmpty());
    QCOMPARE(failure.kind, Failure::Kind::ModuleUnusable);
    QCOMPARE(failure.subject.path, file.fileName());
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
