// SPDX-License-Identifier: MIT
#include <host/engine/moduleregistry.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace
{

const QUrl kHttp(u"http://host/x"_s);
const QUrl kFtp(u"ftp://host/x"_s);

QString folderOf(const QString &kind)
{
    return QStringLiteral(FAKE_MODULES) + u'/' + kind;
}

QString idOf(const AbstractDownloadModule *module)
{
    return module ? module->uniqueId() : QString();
}

}

class TestModuleRegistry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachSchemeHasItsModule();
    void ofTwoForOneSchemeTheGreaterPriorityServes_data();
    void ofTwoForOneSchemeTheGreaterPriorityServes();
    void anAddressThatNobodyServesHasNone();
    void foldersAreLookedIntoWhenAnAddressIsFirstAskedFor();
    void eachModuleIsPreparedOnce();
    void whatDoesNotFitIsToldOfWhileOthersServe_data();
    void whatDoesNotFitIsToldOfWhileOthersServe();
    void anEarlierFolderHidesWhatHasItsName();
    void oneModuleUnderTwoNamesServesOnce();
    void whereThereIsNoModuleAllFoldersAreNamed();
};

void TestModuleRegistry::eachSchemeHasItsModule()
{
    ModuleRegistry registry({folderOf(u"good"_s), folderOf(u"ftp"_s)});
    QCOMPARE(idOf(registry.moduleFor(kHttp)), u"downloadswww"_s);
    QCOMPARE(idOf(registry.moduleFor(kFtp)), u"fakeftp"_s);
    QVERIFY(!registry.failure());
}

void TestModuleRegistry::ofTwoForOneSchemeTheGreaterPriorityServes_data()
{
    QTest::addColumn<QStringList>("folders");
    QTest::newRow("found last") << QStringList{folderOf(u"good"_s), folderOf(u"http"_s)};
    QTest::newRow("found first") << QStringList{folderOf(u"http"_s), folderOf(u"good"_s)};
}

void TestModuleRegistry::ofTwoForOneSchemeTheGreaterPriorityServes()
{
    QFETCH(QStringList, folders);
    ModuleRegistry registry(folders);
    QCOMPARE(idOf(registry.moduleFor(kHttp)), u"fakehttp"_s);
}

void TestModuleRegistry::anAddressThatNobodyServesHasNone()
{
    ModuleRegistry registry({folderOf(u"good"_s)});
    QVERIFY(!registry.moduleFor(kFtp));
    QVERIFY(!registry.moduleFor(QUrl()));
    QVERIFY(!registry.failure());
}

/// Until then there may be none, and nobody is told of those that do not fit.
void TestModuleRegistry::foldersAreLookedIntoWhenAnAddressIsFirstAskedFor()
{
    const QTemporaryDir dir;
    ModuleRegistry registry({dir.path()});
    const QString path = dir.filePath(u"liblate.so"_s);
    QVERIFY(QFile::link(folderOf(u"ftp"_s) + "/libfakeftp.so"_L1, path));
    QCOMPARE(idOf(registry.moduleFor(kFtp)), u"fakeftp"_s);
    QVERIFY(QFile::remove(path));
    QCOMPARE(idOf(registry.moduleFor(kFtp)), u"fakeftp"_s);
}

void TestModuleRegistry::eachModuleIsPreparedOnce()
{
    ModuleRegistry registry({folderOf(u"good"_s), folderOf(u"ftp"_s)});
    QStringList prepared;
    registry.setPreparation([&prepared](AbstractDownloadModule &module) { prepared.append(module.uniqueId()); });
    QVERIFY(prepared.isEmpty());
    registry.moduleFor(kHttp);
    registry.moduleFor(kFtp);
    QCOMPARE(prepared, (QStringList{u"downloadswww"_s, u"fakeftp"_s}));
}

void TestModuleRegistry::whatDoesNotFitIsToldOfWhileOthersServe_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("part");
    QTest::newRow("no module at all") << u"none"_s << u"no-entry-in(downloadsModuleEntry)"_s;
    QTest::newRow("another interface version") << u"version"_s << u"other-interface(43)"_s;
    QTest::newRow("an entry without a module") << u"id"_s << u"no-module-in"_s;
}

void TestModuleRegistry::whatDoesNotFitIsToldOfWhileOthersServe()
{
    QFETCH(QString, kind);
    QFETCH(QString, part);
    ModuleRegistry registry({folderOf(kind), folderOf(u"good"_s)});
    QSignalSpy refused(&registry, &ModuleRegistry::refused);
    QCOMPARE(idOf(registry.moduleFor(kHttp)), u"downloadswww"_s);
    registry.moduleFor(kFtp);
    QCOMPARE(refused.size(), 1);
    const auto failure = refused.first().first().value<Failure>();
    QVERIFY2(failure.plain().contains(part), qPrintable(failure.plain()));
    QVERIFY2(failure.subject.path.startsWith(folderOf(kind)), qPrintable(failure.subject.path));
}

/// A program that was built anew does not load what is installed as well.
void TestModuleRegistry::anEarlierFolderHidesWhatHasItsName()
{
    ModuleRegistry registry({u"/nowhere"_s, folderOf(u"good"_s), folderOf(u"version"_s)});
    QSignalSpy refused(&registry, &ModuleRegistry::refused);
    QCOMPARE(idOf(registry.moduleFor(kHttp)), u"downloadswww"_s);
    QVERIFY(refused.isEmpty());
}

void TestModuleRegistry::oneModuleUnderTwoNamesServesOnce()
{
    const QTemporaryDir dir;
    for (const QString &name : {u"liba.so"_s, u"libb.so"_s})
        QVERIFY(QFile::link(folderOf(u"ftp"_s) + "/libfakeftp.so"_L1, dir.filePath(name)));
    ModuleRegistry registry({dir.path()});
    int prepared = 0;
    registry.setPreparation([&prepared](AbstractDownloadModule &) { ++prepared; });
    QCOMPARE(idOf(registry.moduleFor(kFtp)), u"fakeftp"_s);
    QCOMPARE(prepared, 1);
}

void TestModuleRegistry::whereThereIsNoModuleAllFoldersAreNamed()
{
    ModuleRegistry registry({u"/nowhere"_s, u"/neither/here"_s});
    QVERIFY(!registry.failure());
    QVERIFY(!registry.moduleFor(kHttp));
    QCOMPARE(registry.failure().kind, Failure::Kind::NoModule);
    QCOMPARE(registry.failure().plain(), u"\"/nowhere\", \"/neither/here\""_s);
}

QTEST_GUILESS_MAIN(TestModuleRegistry)
#include "tst_moduleregistry.moc"
