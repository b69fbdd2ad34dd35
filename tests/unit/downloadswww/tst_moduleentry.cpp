// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>
#include <inet/qt/download/records/abstractfileinfo.h>
#include <tests/support/downloadfixture.h>

#include <QDate>
#include <QLibrary>
#include <QMetaType>
#include <QProcess>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

using Entry = AbstractDownloadModuleEntry;

namespace
{

const QString kModuleFile = QStringLiteral(PLAIT_MODULE_FILE);
constexpr char kFunctionSymbol[] = "_Z23wwwDownloadsModuleEntryi";
constexpr char kAddDateSymbol[] = "_Z17addDateToFileNameR16AbstractFileInfoRK5QDate";
constexpr char kChangeTitleSymbol[] = "_Z15changeFileTitleR16AbstractFileInfoRK7QString";
constexpr char kComparisonSymbol[] =
    "_Z42abstractDownloadsPeristentInfoCompFunction45AbstractDownloadPersistentInfoSortByPlusOrder";
constexpr char kVersionSymbol[] = "_ZN11MyQtSysInfo14productVersionEv";

constexpr const char *kRegisteredNames[] = {
    "AbstractDownloadPersistentInfo",
    "BitFlagsUpdateMode",
    "AbstractDownloadCommand",
    "NetworkTrafficDirection",
    "AbstractError",
    "QVector<qint64>",
    "QVector<quint64>",
    "AbstractDownloadCreatedBy",
    "AbstractDownloadPersistentInfoSortByPlusOrder",
    "QtHostAndPort",
    "QtConnectionsMap",
    "AbstractNewDownloadsRequest",
    "AbstractNewDownloadsRequestJob",
    "AbstractDownloadFileOps::FileInitializeOperation",
    "QVector<AbstractDownloadFileOps::FileInitializeOperation>",
    "AbstractDownloadPriority",
    "AbstractDownloadMergeOptions",
    "AbstractDownloadMergeTaskOptions",
    "CompareDownloadsResult",
    "AbstractDownloadAbortReason",
    "AbstractDownloadType",
    "QVector<AbstractDownloadType>",
    "AbstractDownloadFileExistsAction",
    "WwwDownloadSourceInfo",
};

}

class TestModuleEntry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void typesAreRegisteredInOrder();
    void onlyItsOwnVersionIsSpoken_data();
    void onlyItsOwnVersionIsSpoken();
    void entryIsOneObject();
    void entryNamesItsModule();
    void moduleIsTheCallers();
    void moduleHasNoMetaObjectOfItsOwn();
    void moduleLeavesWhatItDoesNotOffer();
    void moduleIsInitialised();
    void downloadsAreJudgedByTheirUrl();
    void supportedSources_data();
    void supportedSources();
    void downloadIsTheHosts();
    void downloadOutlivesItsModule();
    void onlyTheEntryAndTheHostsHelpersAreExported();
    void hostsHelpersAreCalledThroughTheModule();
    void typesOutliveTheLibrary();

private:
    Entry *entry(int version = 43) const { return m_entry(version); }
    std::unique_ptr<AbstractDownloadModule> module() const
    {
        return std::unique_ptr<AbstractDownloadModule>(entry()->createModule(u"downloadswww"_s, "data"_ba, nullptr));
    }

    QLibrary m_library{kModuleFile};
    Entry::Function m_entry = nullptr;
};

void TestModuleEntry::initTestCase()
{
    QVERIFY2(m_library.load(), qPrintable(m_library.errorString()));
    m_entry = reinterpret_cast<Entry::Function>(m_library.resolve(Entry::kEntrySymbol));
    QVERIFY(m_entry);
}

// Comes first: afterwards the types are known for good. Numbers are given out as types are registered.
void TestModuleEntry::typesAreRegisteredInOrder()
{
    for (const char *name : kRegisteredNames)
        QVERIFY2(!QMetaType::fromName(name).isValid(), name);
    const auto made = module();
    int last = 0;
    for (const char *name : kRegisteredNames) {
        const QMetaType type = QMetaType::fromName(name);
        QVERIFY2(type.isValid() && type.isRegistered(), name);
        QVERIFY2(type.id() > last, name);
        last = type.id();
    }
    const auto another = module();
    QCOMPARE(QMetaType::fromName(kRegisteredNames[23]).id(), last);
    QCOMPARE(QMetaType::fromName("QVector<qint64>"), QMetaType::fromType<QList<qint64>>());
    QCOMPARE(QMetaType::fromName("QtConnectionsMap"), QMetaType::fromType<QtConnectionsMap>());
    QCOMPARE(QMetaType::fromName("AbstractError"), QMetaType::fromType<AbstractError>());
}

void TestModuleEntry::onlyItsOwnVersionIsSpoken_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<bool>("isSpoken");
    for (const int version : {-43, 0, 1, 42, 44, 430})
        QTest::addRow("%d is not spoken", version) << version << false;
    QTest::newRow("43 is spoken") << 43 << true;
}

void TestModuleEntry::onlyItsOwnVersionIsSpoken()
{
    QFETCH(int, version);
    QFETCH(bool, isSpoken);
    QCOMPARE(entry(version) != nullptr, isSpoken);
}

void TestModuleEntry::entryIsOneObject()
{
    QCOMPARE(entry(), entry());
    const auto function = reinterpret_cast<Entry::Function>(m_library.resolve(kFunctionSymbol));
    QVERIFY(function);
    QCOMPARE(function(43), entry());
    QVERIFY(!function(42));
}

void TestModuleEntry::entryNamesItsModule()
{
    QCOMPARE(entry()->uniqueIds(), QList<QString>{u"downloadswww"_s});
    QCOMPARE(module()->uniqueId(), u"downloadswww"_s);
}

void TestModuleEntry::moduleIsTheCallers()
{
    QObject parent;
    QPointer<AbstractDownloadModule> first = entry()->createModule(u"any name"_s, "one"_ba, &parent);
    const std::unique_ptr<AbstractDownloadModule> second = module();
    QVERIFY(first != second.get());
    QCOMPARE(first->parent(), &parent);
    QCOMPARE(first->uniqueId(), u"downloadswww"_s);
    QCOMPARE(first->instanceData(), "one"_ba);
    QVERIFY(!second->parent());
    delete first;
    QCOMPARE(entry()->uniqueIds().size(), 1);
}

// Whose signals and slots a host knows is the base, which it has been built with.
void TestModuleEntry::moduleHasNoMetaObjectOfItsOwn()
{
    QCOMPARE(module()->metaObject(), &AbstractDownloadModule::staticMetaObject);
}

void TestModuleEntry::moduleLeavesWhatItDoesNotOffer()
{
    const auto made = module();
    made->setDownloadsFactory({});
    made->setFfmpegManager({});
    made->setAvMerger({});
    made->setShortBlobUrlsManager({});
    made->setPythonManager({});
    made->setCustomOption(u"name"_s, 1);
    made->reload();
    const QUrl url(u"http://a.test/file"_s);
    QCOMPARE(made->supportedSourceCheckPriority(), 0);
    QCOMPARE(made->state(), 0);
    QCOMPARE(made->overrideUrlPolicy(url), 0);
    QCOMPARE(made->sourceDescription(url), QString());
    QCOMPARE(made->thirdPartyLibsInfos(), QStringList());
    QCOMPARE(made->dependsByModules(), QStringList());
    QCOMPARE(made->usageSettings(), QVariantMap());
    QVERIFY(!made->getCustomInfo(u"name"_s).isValid());
    QVERIFY(made->supportedSource(url));
}

void TestModuleEntry::moduleIsInitialised()
{
    const auto made = module();
    QVERIFY(!made->isInitialized());
    made->initialize(true);
    QVERIFY(made->isInitialized());
    made->initialize(false);
    QVERIFY(!made->isInitialized());
}

void TestModuleEntry::downloadsAreJudgedByTheirUrl()
{
    DownloadFixture host;
    const auto made = module();
    made->setNetworkAccessChief(host.chief);
    made->setUserAgentManager(host.userAgents);
    const std::unique_ptr<AbstractDownload> download(made->createDownload(1, nullptr));
    QVERIFY(!made->supportedSource(static_cast<const AbstractDownload *>(nullptr)));
    QVERIFY(!made->isPossiblySupportedSource(nullptr));
    for (const auto &[url, isSupported] :
         {qMakePair(u"ftps://a.test/file"_s, false), qMakePair(u"http://a.test/file"_s, true)}) {
        QVERIFY(download->setInfo(host.record(url)));
        QCOMPARE(made->supportedSource(download.get()), isSupported);
        QCOMPARE(made->isPossiblySupportedSource(download.get()), isSupported);
    }
}

void TestModuleEntry::supportedSources_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::addColumn<bool>("isSupported");
    QTest::newRow("http") << QUrl(u"http://a.test/file"_s) << true;
    QTest::newRow("https") << QUrl(u"https://a.test/file"_s) << true;
    QTest::newRow("ftp") << QUrl(u"ftp://a.test/file"_s) << true;
    QTest::newRow("HTTP in upper case, which the parser lowers") << QUrl(u"HTTP://A.TEST/file"_s) << true;
    QTest::newRow("http without a host") << QUrl(u"http:file"_s) << true;
    QTest::newRow("http with a user and a port") << QUrl(u"http://me:pw@a.test:81/"_s) << true;
    QTest::newRow("ftps") << QUrl(u"ftps://a.test/file"_s) << false;
    QTest::newRow("sftp") << QUrl(u"sftp://a.test/file"_s) << false;
    QTest::newRow("file") << QUrl(u"file:///etc/hosts"_s) << false;
    QTest::newRow("data") << QUrl(u"data:text/plain,x"_s) << false;
    QTest::newRow("magnet") << QUrl(u"magnet:?xt=urn:btih:0"_s) << false;
    QTest::newRow("a scheme that begins with http") << QUrl(u"httpx://a.test/"_s) << false;
    QTest::newRow("no scheme") << QUrl(u"//a.test/file"_s) << false;
    QTest::newRow("a bare name") << QUrl(u"file.bin"_s) << false;
    QTest::newRow("an invalid URL") << QUrl(u"http://a.test:port/"_s) << false;
    QTest::newRow("an empty URL") << QUrl() << false;
}

void TestModuleEntry::supportedSources()
{
    QFETCH(QUrl, url);
    QFETCH(bool, isSupported);
    const auto made = module();
    QCOMPARE(made->supportedSource(url), isSupported);
    QCOMPARE(made->sourceType(url), isSupported ? AbstractDownloadType::File : AbstractDownloadType::Unknown);
}

void TestModuleEntry::downloadIsTheHosts()
{
    DownloadFixture host;
    const auto made = module();
    made->setNetworkAccessChief(host.chief);
    made->setUserAgentManager(host.userAgents);
    host.userAgents->setUserAgent(u"the application's"_s);
    QObject parent;
    QPointer<AbstractDownload> download = made->createDownload(11, &parent);
    QVERIFY(download);
    QCOMPARE(download->id(), 11);
    QCOMPARE(download->parent(), &parent);
    QVERIFY(!download->isRunning());
    download->setInfo(host.record());
    QVERIFY(made->supportedSource(download.get()));
    download->doCommand(AbstractDownloadCommand::Start);
    QCOMPARE(host.replies.size(), 1);
    QCOMPARE(host.reply()->request().rawHeader("User-Agent"), "the application's"_ba);
    delete download;
    QVERIFY(parent.children().isEmpty());
}

void TestModuleEntry::downloadOutlivesItsModule()
{
    QWeakPointer<TestAccessChief> chief;
    QWeakPointer<QtAppSystemDefaultUserAgentManager> userAgents;
    std::unique_ptr<AbstractDownload> download;
    {
        const auto ownChief = QSharedPointer<TestAccessChief>::create();
        const auto ownUserAgents = QSharedPointer<QtAppSystemDefaultUserAgentManager>::create();
        chief = ownChief;
        userAgents = ownUserAgents;
        const auto made = module();
        made->setNetworkAccessChief(ownChief);
        made->setUserAgentManager(ownUserAgents);
        download.reset(made->createDownload(1, nullptr));
    }
    QVERIFY(chief);
    QVERIFY(!userAgents);
    AbstractDownloadPersistentInfo info;
    info.url = QUrl(u"http://a.test/"_s);
    QVERIFY(download->setInfo(info));
    download.reset();
    QVERIFY(!chief);
}

void TestModuleEntry::onlyTheEntryAndTheHostsHelpersAreExported()
{
    QProcess nm;
    nm.start(u"nm"_s, {u"-D"_s, u"--defined-only"_s, kModuleFile});
    QVERIFY(nm.waitForFinished());
    QCOMPARE(nm.exitCode(), 0);
    QStringList symbols;
    for (const QByteArray &line : nm.readAllStandardOutput().split('\n')) {
        if (!line.isEmpty())
            symbols.append(QString::fromLatin1(line.mid(line.lastIndexOf(' ') + 1)));
    }
    symbols.sort();
    QStringList expected{u"downloadsModuleEntry"_s};
    for (const char *symbol : {kFunctionSymbol, kAddDateSymbol, kChangeTitleSymbol, kComparisonSymbol, kVersionSymbol})
        expected.append(QString::fromLatin1(symbol));
    expected.sort();
    QCOMPARE(symbols, expected);
}

void TestModuleEntry::hostsHelpersAreCalledThroughTheModule()
{
    const auto addDate =
        reinterpret_cast<void (*)(AbstractFileInfo &, const QDate &)>(m_library.resolve(kAddDateSymbol));
    QVERIFY(addDate);
    AbstractFileInfo info;
    info.name = u"file.zip"_s;
    addDate(info, QDate(2024, 3, 9));
    QCOMPARE(info.name, u"[2024-03-09] file.zip"_s);
}

// Comes last: nothing before needs a library that was let go.
void TestModuleEntry::typesOutliveTheLibrary()
{
    module().reset();
    QVERIFY(m_library.unload());
    QVERIFY(!m_library.isLoaded());
    for (const char *name : kRegisteredNames) {
        const QMetaType type = QMetaType::fromName(name);
        QVERIFY2(type.isValid(), name);
        const QVariant value(type);
        QVERIFY2(value.metaType() == type, name);
        QVERIFY2(QVariant(value).typeId() == type.id(), name);
    }

    QVERIFY2(m_library.load(), qPrintable(m_library.errorString()));
    m_entry = reinterpret_cast<Entry::Function>(m_library.resolve(Entry::kEntrySymbol));
    QVERIFY(module()->supportedSource(QUrl(u"http://a.test/file.bin"_s)));
}

QTEST_GUILESS_MAIN(TestModuleEntry)
#include "tst_moduleentry.moc"
