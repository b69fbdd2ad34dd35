// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdataasyncprocessor.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/abstractdownloadfileops.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/abstractdownloadmodulestandardentry.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/abstractnetworkconsumerswithextrataskspack.h>
#include <inet/qt/download/framework/filedataasyncwriter.h>
#include <inet/qt/download/framework/memorydataasyncwriter.h>

#include <QNetworkAccessManager>
#include <QTest>
#include <QThread>

using namespace Qt::StringLiterals;

namespace
{

/// Overrides every virtual operation of a download: that it compiles is the test.
class Download : public AbstractDownload
{
    Q_OBJECT

public:
    using AbstractDownload::AbstractDownload;

    qint64 id() const override { return AbstractDownload::id(); }
    void setNetworkSettings(const AbstractNetworkConsumerSettings &) override {}
    AbstractNetworkConsumerSettings networkSettings() const override { return {}; }
    void setNetworkUsageSettings(const NetworkUsageSettings &) override {}
    NetworkUsageSettings networkUsageSettings() const override { return {}; }
    QHash<QtHostAndPort, QtConnectionsMapEntry> connectionsMap() const override { return {}; }
    qint64 speed(NetworkTrafficDirection, bool) const override { return 0; }
    AbstractError lastError() const override { return error; }
    QList<QSslError> lastSslErrors() const override { return {}; }
    QDateTime lastErrorTime() const override { return {}; }
    void clearLastError() override {}
    bool isRunning() const override { return false; }

    void doCommand(AbstractDownloadCommand) override {}
    void doCustomCommand(const QVariant &command, const QVariant &argument) override
    {
        AbstractDownload::doCustomCommand(command, argument);
    }
    void fileExistsAction(int, AbstractDownloadFileExistsAction) override {}
    AbstractDownloadPersistentInfo info() const override { return record; }
    bool setInfo(const AbstractDownloadPersistentInfo &) override { return true; }
    bool updateInfoFields(const AbstractDownloadPersistentInfo &, qint64, BitFlagsUpdateMode) override { return true; }
    QSet<int> supportedDestinations() const override { return {1}; }
    bool supportsWriteOffset() const override { return true; }
    bool setWritersThread(QThread *) override { return true; }
    QObject *resourceVersionSelector() override { return AbstractDownload::resourceVersionSelector(); }
    void setSettings(const AbstractDownloadSettings &) override {}
    AbstractDownloadSettings settings() const override { return {}; }
    void setupBySourceDownload(QSharedPointer<AbstractDownload> source) override
    {
        AbstractDownload::setupBySourceDownload(source);
    }
    int currentTasks() const override { return 0; }
    QMap<int, Progress> tasksProgress() const override { return {}; }
    CompareDownloadsResult compareDownloads(const AbstractDownloadPersistentInfo &) const override
    {
        return CompareDownloadsResult::Different;
    }
    bool acquireDownloadsMergeOptions(const AbstractDownloadPersistentInfo &, AbstractDownloadMergeOptions &,
                                      AbstractDownloadMergeOptions &) override
    {
        return true;
    }
    bool mergeIntoThisDownload(const AbstractDownloadPersistentInfo &, const AbstractDownloadMergeOptions &) override
    {
        return true;
    }
    bool mergeIntoOtherDownload(AbstractDownloadPersistentInfo &, const AbstractDownloadMergeOptions &) override
    {
        return true;
    }
    bool isChildDownloadsManagerRequired() const override
    {
        return AbstractDownload::isChildDownloadsManagerRequired();
    }
    void setChildDownloadsManager(const QSharedPointer<AbstractChildDownloadsManager> &manager) override
    {
        AbstractDownload::setChildDownloadsManager(manager);
    }
    QVariant previews() const override { return AbstractDownload::previews(); }
    QObject *newDownloadsSource() const override { return AbstractDownload::newDownloadsSource(); }
    bool setOption(quint64 number, const QVariant &value) override
    {
        return AbstractDownload::setOption(number, value);
    }
    QVariant option(quint64 number) override { return AbstractDownload::option(number); }
    bool isQueryingInfo() const override { return false; }
    bool isStopping() const override { return false; }
    bool isFinalizing() const override { return false; }
    QString errorReportData() const override { return AbstractDownload::errorReportData(); }
    bool interactive() const override { return AbstractDownload::interactive(); }
    void setInteractive(bool on) override { AbstractDownload::setInteractive(on); }
    void setInitData(const QVariant &data) override { AbstractDownload::setInitData(data); }
    QVariant details() const override { return AbstractDownload::details(); }
    AbstractDownloadPersistentInfo *rwInfo() override { return AbstractDownload::rwInfo(); }

    AbstractDownloadPersistentInfo record;
    AbstractError error;
};

/// The same for a module.
class Module : public AbstractDownloadModule
{
    Q_OBJECT

public:
    using AbstractDownloadModule::AbstractDownloadModule;
    using AbstractDownloadModule::networkAccessChief;
    using AbstractDownloadModule::userAgentManager;

    void initialize(bool init) override { AbstractDownloadModule::initialize(init); }
    void initializeSelfBefore(bool init) override
    {
        steps.append(u"before %1"_s.arg(init));
        AbstractDownloadModule::initializeSelfBefore(init);
    }
    void initializeSelfAfter(bool init) override
    {
        steps.append(u"after %1"_s.arg(init));
        AbstractDownloadModule::initializeSelfAfter(init);
    }
    void onModuleInitializeRunning(bool isRunning, bool init) override
    {
        steps.append(u"running %1 %2"_s.arg(isRunning).arg(init));
        AbstractDownloadModule::onModuleInitializeRunning(isRunning, init);
    }
    QString uniqueId() const override { return u"module"_s; }
    bool supportedSource(const QUrl &url) const override { return url.scheme() == "http"_L1; }
    bool supportedSource(const AbstractDownload *download) const override
    {
        return AbstractDownloadModule::supportedSource(download);
    }
    int supportedSourceCheckPriority() override { return AbstractDownloadModule::supportedSourceCheckPriority(); }
    QString sourceDescription(const QUrl &url) override { return AbstractDownloadModule::sourceDescription(url); }
    AbstractDownloadType sourceType(const QUrl &url) override { return AbstractDownloadModule::sourceType(url); }
    AbstractDownload *createDownload(qint64 id, QObject *parent) const override { return new Download(id, parent); }
    int state() const override { return AbstractDownloadModule::state(); }
    void setDownloadsFactory(QWeakPointer<AbstractDownloadsSimpleFactory> factory) override
    {
        AbstractDownloadModule::setDownloadsFactory(factory);
    }
    void setFfmpegManager(QWeakPointer<QtFfmpegManager> manager) override
    {
        AbstractDownloadModule::setFfmpegManager(manager);
    }
    void setAvMerger(const QWeakPointer<QtFfmpegAvMerger> &merger) override
    {
        AbstractDownloadModule::setAvMerger(merger);
    }
    void setShortBlobUrlsManager(const QSharedPointer<ShortBlobUrlsManager> &manager) override
    {
        AbstractDownloadModule::setShortBlobUrlsManager(manager);
    }
    QStringList thirdPartyLibsInfos() const override { return AbstractDownloadModule::thirdPartyLibsInfos(); }
    QStringList dependsByModules() const override { return AbstractDownloadModule::dependsByModules(); }
    void setPythonManager(QWeakPointer<QtPythonManager> manager) override
    {
        AbstractDownloadModule::setPythonManager(manager);
    }
    bool isPossiblySupportedSource(const AbstractDownload *download) override
    {
        return AbstractDownloadModule::isPossiblySupportedSource(download);
    }
    QVariantMap usageSettings() const override { return AbstractDownloadModule::usageSettings(); }
    int overrideUrlPolicy(const QUrl &url) override { return AbstractDownloadModule::overrideUrlPolicy(url); }
    QVariant getCustomInfo(const QString &name) const override { return AbstractDownloadModule::getCustomInfo(name); }
    void setCustomOption(const QString &name, const QVariant &value) override
    {
        AbstractDownloadModule::setCustomOption(name, value);
    }
    void reload() override { AbstractDownloadModule::reload(); }

    QStringList steps;
};

/// The same for a writer.
class Writer : public AbstractDataAsyncProcessor
{
    Q_OBJECT

public:
    AbstractError lastError() const override { return {}; }
    QDateTime lastErrorTime() const override { return {}; }
    void clearLastError() override {}
    bool isOpen() const override { return false; }
    void open(const QString &, qint64, bool) override {}
    void reposition(qint64) override {}
    void close() override {}
    void processData(const QByteArray &) override {}
    void finishPendingData() override {}
    void restart() override {}
};

class Chief : public AbstractNetworkAccessChief
{
    Q_OBJECT

public:
    QSharedPointer<QNetworkAccessManager> takeManager(const QUrl &) override { return {}; }
    void returnManager(const QSharedPointer<QNetworkAccessManager> &, const QUrl &) override {}
    AbstractNetworkConsumersStats *consumersStats() const override { return nullptr; }
    NetworkUsageSettings usageSettings() const override { return {}; }
    AbstractNetworkConsumerSettings defaultConsumerSettings() const override { return {}; }
};

}

class TestHostInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySignalIsThere_data();
    void everySignalIsThere();
    void everySlotIsThere_data();
    void everySlotIsThere();
    void theClassTreeIsAsPlugInsExpectIt();
    void aDownloadKnowsItsNumber();
    void aDownloadLeavesWhatItDoesNotOffer();
    void aDownloadReportsItsError();
    void aModuleJudgesDownloadsByTheirUrl();
    void aModuleLeavesWhatItDoesNotOffer();
    void aModuleIsInitialisedStepByStep();
    void aModuleKeepsWhatTheHostGives();
    void theStandardEntryMakesItsModule();
    void everyHostClassCanBeImplemented();
};

void TestHostInterface::everySignalIsThere_data()
{
    QTest::addColumn<const QMetaObject *>("metaObject");
    QTest::addColumn<QByteArray>("signal");
    const auto add = [](const QMetaObject &metaObject, const QByteArrayList &list) {
        for (const QByteArray &one : list)
            QTest::newRow(metaObject.className() + QByteArray(" ") + one) << &metaObject << one;
    };
    add(AbstractNetworkConsumer::staticMetaObject,
        {"progressChanged(qint64,qint64)", "connectionsMapChangedDelta(QtConnectionsMap)"});
    add(AbstractNetworkConsumerWithExtraTasks::staticMetaObject, {"running(bool)"});
    add(AbstractDownload::staticMetaObject,
        {"running(bool)", "changed(bool)", "gotResponseHeaders(qint64,QList<QString>)",
         "sendingRequestHeaders(qint64,QList<QString>)", "fileExistsActionRequired(int,QList<QString>)",
         "fileExistsActionApplied(int,AbstractDownloadFileExistsAction,AbstractError)",
         "performingFilesOperations(bool)", "stopping()", "resourceChecked()"});
    add(AbstractNetworkConsumersWithExtraTasksPack::staticMetaObject,
        {"itemRunning(qint64,bool)", "running(bool)", "connectionsMapChangedDelta(QtConnectionsMap)"});
    add(AbstractNetworkConsumersStats::staticMetaObject, {"connectionsMapChangedDelta(QtConnectionsMap)"});
    add(AbstractDownloadFileOps::staticMetaObject,
        {"performInitializeOpsFinished(QString,QList<AbstractDownloadFileOps::FileInitializeOperation>,int,"
         "AbstractError)",
         "fileExistsActionRequired(int,QList<QString>)",
         "fileExistsActionApplied(int,AbstractDownloadFileExistsAction,AbstractError)"});
    add(AbstractDataAsyncProcessor::staticMetaObject,
        {"opened()", "closed()", "failed()", "dataProcessed(qint64)", "allDataIsProcessed()"});
    add(FileDataAsyncWriter::staticMetaObject,
        {"opened()", "closed()", "failed()", "dataProcessed(qint64)", "allDataIsProcessed()",
         "preallocatingProgress(qint64)", "preallocateFinished(qint64)"});
    add(MemoryDataAsyncWriter::staticMetaObject,
        {"opened()", "closed()", "failed()", "dataProcessed(qint64)", "allDataIsProcessed()"});
}

void TestHostInterface::everySignalIsThere()
{
    QFETCH(const QMetaObject *, metaObject);
    QFETCH(QByteArray, signal);
    const QByteArray normalized = QMetaObject::normalizedSignature(signal.constData());
    QVERIFY(metaObject->indexOfSignal(normalized.constData()) >= 0);
}

void TestHostInterface::everySlotIsThere_data()
{
    QTest::addColumn<const QMetaObject *>("metaObject");
    QTest::addColumn<QByteArray>("slot");
    QTest::newRow("a writer takes data") << &AbstractDataAsyncProcessor::staticMetaObject
                                         << QByteArray("processData(QByteArray)");
    QTest::newRow("file operations withdraw their question")
        << &AbstractDownloadFileOps::staticMetaObject << QByteArray("withdrawQuestion()");
}

void TestHostInterface::everySlotIsThere()
{
    QFETCH(const QMetaObject *, metaObject);
    QFETCH(QByteArray, slot);
    QVERIFY(metaObject->indexOfSlot(slot.constData()) >= 0);
}

void TestHostInterface::theClassTreeIsAsPlugInsExpectIt()
{
    QVERIFY(AbstractDownload::staticMetaObject.inherits(&AbstractNetworkConsumerWithExtraTasks::staticMetaObject));
    QVERIFY(
        AbstractNetworkConsumerWithExtraTasks::staticMetaObject.inherits(&AbstractNetworkConsumer::staticMetaObject));
    QVERIFY(AbstractDownloadModule::staticMetaObject.inherits(&QtAbstractComplexModule::staticMetaObject));
    QVERIFY(QtAbstractComplexModule::staticMetaObject.inherits(&QtAbstractModule::staticMetaObject));
    QVERIFY(FileDataAsyncWriter::staticMetaObject.inherits(&AbstractDataAsyncProcessor::staticMetaObject));
    QVERIFY(MemoryDataAsyncWriter::staticMetaObject.inherits(&AbstractDataAsyncProcessor::staticMetaObject));
    static_assert(std::is_base_of_v<AbstractDownloadsModulesProvider, AbstractDownloadModuleEntry>);
    static_assert(std::is_base_of_v<AbstractDownloadModuleEntry, AbstractDownloadModuleStandardEntry<Module>>);
}

void TestHostInterface::aDownloadKnowsItsNumber()
{
    QObject parent;
    Download download(7, &parent);
    QCOMPARE(download.id(), 7);
    QCOMPARE(download.parent(), &parent);
    QCOMPARE(download.logHeader(), u"[Download #7] "_s);
}

void TestHostInterface::aDownloadLeavesWhatItDoesNotOffer()
{
    Download download(7, nullptr);
    download.doCustomCommand(1, 2);
    download.setupBySourceDownload({});
    download.setChildDownloadsManager({});
    download.setInitData(1);
    QCOMPARE(download.resourceVersionSelector(), nullptr);
    QVERIFY(!download.isChildDownloadsManagerRequired());
    QVERIFY(!download.previews().isValid());
    QCOMPARE(download.newDownloadsSource(), nullptr);
    QVERIFY(!download.setOption(1, 2));
    QVERIFY(!download.option(1).isValid());
    QVERIFY(!download.details().isValid());
    QCOMPARE(download.rwInfo(), nullptr);
    QVERIFY(download.interactive());
    download.setInteractive(false);
    QVERIFY(!download.interactive());
}

void TestHostInterface::aDownloadReportsItsError()
{
    Download download(7, nullptr);
    QCOMPARE(download.errorReportData(), QString());
    download.error = {404, ErrorCategory::kHttp, "here", "Not Found"};
    QCOMPARE(download.errorReportData(), download.error.toLogText());
}

void TestHostInterface::aModuleJudgesDownloadsByTheirUrl()
{
    Module module;
    Download download(1, nullptr);
    QVERIFY(!module.supportedSource(static_cast<const AbstractDownload *>(nullptr)));
    QVERIFY(!module.supportedSource(&download));
    download.record.url = QUrl(u"http://127.0.0.1/a"_s);
    QVERIFY(module.supportedSource(&download));
    QVERIFY(module.isPossiblySupportedSource(&download));
    QCOMPARE(module.sourceType(download.record.url), AbstractDownloadType::File);
    QCOMPARE(module.sourceType(QUrl(u"mailto:a@b"_s)), AbstractDownloadType::Unknown);
}

void TestHostInterface::aModuleLeavesWhatItDoesNotOffer()
{
    Module module;
    module.setDownloadsFactory({});
    module.setFfmpegManager({});
    module.setAvMerger({});
    module.setShortBlobUrlsManager({});
    module.setPythonManager({});
    module.setCustomOption(u"name"_s, 1);
    module.reload();
    QCOMPARE(module.supportedSourceCheckPriority(), 0);
    QCOMPARE(module.state(), 0);
    QCOMPARE(module.overrideUrlPolicy({}), 0);
    QVERIFY(module.sourceDescription({}).isEmpty());
    QVERIFY(module.thirdPartyLibsInfos().isEmpty());
    QVERIFY(module.dependsByModules().isEmpty());
    QVERIFY(module.usageSettings().isEmpty());
    QVERIFY(!module.getCustomInfo(u"name"_s).isValid());
}

void TestHostInterface::aModuleIsInitialisedStepByStep()
{
    Module module;
    module.initialize(true);
    module.initialize(true);
    QCOMPARE(module.steps, (QStringList{u"running 1 1"_s, u"before 1"_s, u"after 1"_s, u"running 0 1"_s}));
    QVERIFY(module.isInitialized());
    module.initialize(false);
    QVERIFY(!module.isInitialized());
}

void TestHostInterface::aModuleKeepsWhatTheHostGives()
{
    QObject parent;
    auto *module = new Module("data", &parent);
    QCOMPARE(module->instanceData(), "data");
    QCOMPARE(module->parent(), &parent);
    const auto chief = QSharedPointer<Chief>::create();
    const auto agents = QSharedPointer<QtAppSystemDefaultUserAgentManager>::create();
    module->setNetworkAccessChief(chief);
    module->setUserAgentManager(agents);
    QCOMPARE(module->networkAccessChief().data(), static_cast<AbstractNetworkAccessChief *>(chief.data()));
    QCOMPARE(module->userAgentManager().toStrongRef(), agents);
    QCOMPARE(Module(&parent).instanceData(), QByteArray());
}

void TestHostInterface::theStandardEntryMakesItsModule()
{
    const AbstractDownloadModuleStandardEntry<Module> entry("modul\xc3\xa9");
    QCOMPARE(entry.uniqueIds(), QList<QString>{u"modulé"_s});
    QObject parent;
    AbstractDownloadModule *module = entry.createModule(u"any"_s, "data", &parent);
    QVERIFY(qobject_cast<Module *>(module));
    QCOMPARE(module->instanceData(), "data");
    QCOMPARE(module->parent(), &parent);
    QCOMPARE(AbstractDownloadModuleEntry::kInterfaceVersion, 43);
    QCOMPARE(QByteArray(AbstractDownloadModuleEntry::kEntrySymbol), "downloadsModuleEntry");
}

void TestHostInterface::everyHostClassCanBeImplemented()
{
    const Writer writer;
    QVERIFY(!writer.isOpen());
    const Chief chief;
    QVERIFY(!chief.consumersStats());
}

QTEST_GUILESS_MAIN(TestHostInterface)
#include "tst_hostinterface.moc"
