// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdataasyncprocessor.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/abstractdownloadfileops.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/abstractnetworkconsumerswithextrataskspack.h>
#include <inet/qt/download/framework/filedataasyncwriter.h>
#include <inet/qt/download/framework/memorydataasyncwriter.h>
#include <inet/qt/download/framework/qtapplogger.h>

#include <QTest>

#include <bit>
#include <type_traits>

/// Hosts and modules are built apart: a virtual operation is called by its place in the table, not by its name. That
/// an operation moved shows neither when a module is built nor when it is loaded, so it has to show here.
namespace
{

/// A pointer to a member function, as this ABI has it.
struct MemberWords {
    quintptr offset = 0; ///< odd for virtual functions: 1 + the byte offset in the table
    qintptr adjustment = 0; ///< from the object to the part of it whose table is meant
};

/// Place in the first table of the class, counted from 1; 0 = the function is not in it.
template<typename Member>
int placeOf(Member member)
{
    static_assert(std::is_member_function_pointer_v<Member>);
    const auto words = std::bit_cast<MemberWords>(member);
    const bool isVirtual = (words.offset & 1) != 0;
    return isVirtual && words.adjustment == 0 ? int((words.offset - 1) / sizeof(void *)) + 1 : 0;
}

template<typename Member>
void row(const char *name, int expected, Member member)
{
    QTest::newRow(name) << placeOf(member) << expected;
}

using SupportsUrl = bool (AbstractDownloadModule::*)(const QUrl &) const;
using SupportsDownload = bool (AbstractDownloadModule::*)(const AbstractDownload *) const;

/// Takes the first place behind the table.
template<typename Class>
class Extended : public Class
{
public:
    virtual void behindTheLast() = 0;
};

/// Opens what is protected.
class Module : public Extended<AbstractDownloadModule>
{
public:
    using QObject::childEvent;
    using QObject::connectNotify;
    using QObject::customEvent;
    using QObject::disconnectNotify;
    using QObject::timerEvent;
};

struct Plain {
    void notVirtual() {}
};

struct Other {
    virtual ~Other() = default;
    virtual void operation() = 0;
};

struct Second : Plain, Module, Other {
};

}

class TestVirtualOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placesAreTold();
    void placeInTheTable_data();
    void placeInTheTable();

private:
    static void addConsumer();
    static void addDownload();
    static void addEntry();
    static void addInheritedOfModule();
    static void addModule();
    static void addWriter();
    static void addServices();
};

void TestVirtualOrder::placesAreTold()
{
    QCOMPARE(placeOf(&Plain::notVirtual), 0);
    QCOMPARE(placeOf(&Other::operation), 3);
    QCOMPARE(placeOf<void (Second::*)()>(&Other::operation), 0);
}

void TestVirtualOrder::placeInTheTable_data()
{
    QTest::addColumn<int>("place");
    QTest::addColumn<int>("expected");
    addConsumer();
    addDownload();
    addEntry();
    addInheritedOfModule();
    addModule();
    addWriter();
    addServices();
}

void TestVirtualOrder::addConsumer()
{
    using Consumer = AbstractNetworkConsumer;
    row("consumer: id", 13, &Consumer::id);
    row("consumer: setNetworkSettings", 14, &Consumer::setNetworkSettings);
    row("consumer: networkSettings", 15, &Consumer::networkSettings);
    row("consumer: setNetworkUsageSettings", 16, &Consumer::setNetworkUsageSettings);
    row("consumer: networkUsageSettings", 17, &Consumer::networkUsageSettings);
    row("consumer: connectionsMap", 18, &Consumer::connectionsMap);
    row("consumer: speed", 19, &Consumer::speed);
    row("consumer: lastError", 20, &Consumer::lastError);
    row("consumer: lastSslErrors", 21, &Consumer::lastSslErrors);
    row("consumer: lastErrorTime", 22, &Consumer::lastErrorTime);
    row("consumer: clearLastError", 23, &Consumer::clearLastError);
    row("consumer: isRunning", 24, &Consumer::isRunning);
}

void TestVirtualOrder::addDownload()
{
    row("download: id", 13, &AbstractDownload::id);
    row("download: doCommand", 25, &AbstractDownload::doCommand);
    row("download: doCustomCommand", 26, &AbstractDownload::doCustomCommand);
    row("download: fileExistsAction", 27, &AbstractDownload::fileExistsAction);
    row("download: info", 28, &AbstractDownload::info);
    row("download: setInfo", 29, &AbstractDownload::setInfo);
    row("download: updateInfoFields", 30, &AbstractDownload::updateInfoFields);
    row("download: supportedDestinations", 31, &AbstractDownload::supportedDestinations);
    row("download: supportsWriteOffset", 32, &AbstractDownload::supportsWriteOffset);
    row("download: setWritersThread", 33, &AbstractDownload::setWritersThread);
    row("download: resourceVersionSelector", 34, &AbstractDownload::resourceVersionSelector);
    row("download: setSettings", 35, &AbstractDownload::setSettings);
    row("download: settings", 36, &AbstractDownload::settings);
    row("download: setupBySourceDownload", 37, &AbstractDownload::setupBySourceDownload);
    row("download: currentTasks", 38, &AbstractDownload::currentTasks);
    row("download: tasksProgress", 39, &AbstractDownload::tasksProgress);
    row("download: compareDownloads", 40, &AbstractDownload::compareDownloads);
    row("download: acquireDownloadsMergeOptions", 41, &AbstractDownload::acquireDownloadsMergeOptions);
    row("download: mergeIntoThisDownload", 42, &AbstractDownload::mergeIntoThisDownload);
    row("download: mergeIntoOtherDownload", 43, &AbstractDownload::mergeIntoOtherDownload);
    row("download: isChildDownloadsManagerRequired", 44, &AbstractDownload::isChildDownloadsManagerRequired);
    row("download: setChildDownloadsManager", 45, &AbstractDownload::setChildDownloadsManager);
    row("download: previews", 46, &AbstractDownload::previews);
    row("download: newDownloadsSource", 47, &AbstractDownload::newDownloadsSource);
    row("download: setOption", 48, &AbstractDownload::setOption);
    row("download: option", 49, &AbstractDownload::option);
    row("download: isQueryingInfo", 50, &AbstractDownload::isQueryingInfo);
    row("download: isStopping", 51, &AbstractDownload::isStopping);
    row("download: isFinalizing", 52, &AbstractDownload::isFinalizing);
    row("download: errorReportData", 53, &AbstractDownload::errorReportData);
    row("download: interactive", 54, &AbstractDownload::interactive);
    row("download: setInteractive", 55, &AbstractDownload::setInteractive);
    row("download: setInitData", 56, &AbstractDownload::setInitData);
    row("download: details", 57, &AbstractDownload::details);
    row("download: rwInfo", 58, &AbstractDownload::rwInfo);
    row("download: nothing follows rwInfo", 59, &Extended<AbstractDownload>::behindTheLast);
}

void TestVirtualOrder::addInheritedOfModule()
{
    row("module: metaObject", 1, &AbstractDownloadModule::metaObject);
    row("module: qt_metacast", 2, &AbstractDownloadModule::qt_metacast);
    row("module: qt_metacall", 3, &AbstractDownloadModule::qt_metacall);
    row("module: event", 6, &AbstractDownloadModule::event);
    row("module: eventFilter", 7, &AbstractDownloadModule::eventFilter);
    row("module: timerEvent", 8, &Module::timerEvent);
    row("module: childEvent", 9, &Module::childEvent);
    row("module: customEvent", 10, &Module::customEvent);
    row("module: connectNotify", 11, &Module::connectNotify);
    row("module: disconnectNotify", 12, &Module::disconnectNotify);
    row("module: initialize", 13, &QtAbstractComplexModule::initialize);
    row("module: initializeSelfBefore", 14, &QtAbstractComplexModule::initializeSelfBefore);
    row("module: initializeSelfAfter", 15, &QtAbstractComplexModule::initializeSelfAfter);
    row("module: onModuleInitializeRunning", 16, &QtAbstractComplexModule::onModuleInitializeRunning);
}

void TestVirtualOrder::addModule()
{
    row("module: uniqueId", 17, &AbstractDownloadModule::uniqueId);
    row("module: supportedSource of a URL", 18, SupportsUrl(&AbstractDownloadModule::supportedSource));
    row("module: supportedSource of a download", 19, SupportsDownload(&AbstractDownloadModule::supportedSource));
    row("module: supportedSourceCheckPriority", 20, &AbstractDownloadModule::supportedSourceCheckPriority);
    row("module: sourceDescription", 21, &AbstractDownloadModule::sourceDescription);
    row("module: sourceType", 22, &AbstractDownloadModule::sourceType);
    row("module: createDownload", 23, &AbstractDownloadModule::createDownload);
    row("module: state", 24, &AbstractDownloadModule::state);
    row("module: setDownloadsFactory", 25, &AbstractDownloadModule::setDownloadsFactory);
    row("module: setFfmpegManager", 26, &AbstractDownloadModule::setFfmpegManager);
    row("module: setAvMerger", 27, &AbstractDownloadModule::setAvMerger);
    row("module: setShortBlobUrlsManager", 28, &AbstractDownloadModule::setShortBlobUrlsManager);
    row("module: thirdPartyLibsInfos", 29, &AbstractDownloadModule::thirdPartyLibsInfos);
    row("module: dependsByModules", 30, &AbstractDownloadModule::dependsByModules);
    row("module: setPythonManager", 31, &AbstractDownloadModule::setPythonManager);
    row("module: isPossiblySupportedSource", 32, &AbstractDownloadModule::isPossiblySupportedSource);
    row("module: usageSettings", 33, &AbstractDownloadModule::usageSettings);
    row("module: overrideUrlPolicy", 34, &AbstractDownloadModule::overrideUrlPolicy);
    row("module: getCustomInfo", 35, &AbstractDownloadModule::getCustomInfo);
    row("module: setCustomOption", 36, &AbstractDownloadModule::setCustomOption);
    row("module: reload", 37, &AbstractDownloadModule::reload);
    row("module: nothing follows reload", 38, &Module::behindTheLast);
}

void TestVirtualOrder::addWriter()
{
    using Writer = AbstractDataAsyncProcessor;
    row("writer: lastError", 13, &Writer::lastError);
    row("writer: lastErrorTime", 14, &Writer::lastErrorTime);
    row("writer: clearLastError", 15, &Writer::clearLastError);
    row("writer: isOpen", 16, &Writer::isOpen);
    row("writer: open", 17, &Writer::open);
    row("writer: reposition", 18, &Writer::reposition);
    row("writer: close", 19, &Writer::close);
    row("writer: processData", 20, &Writer::processData);
    row("writer: finishPendingData", 21, &Writer::finishPendingData);
    row("writer: restart", 22, &Writer::restart);
    row("writer: nothing follows restart", 23, &Extended<Writer>::behindTheLast);
    row("file writer: nothing follows the writer's", 23, &Extended<FileDataAsyncWriter>::behindTheLast);
    row("memory writer: nothing follows the writer's", 23, &Extended<MemoryDataAsyncWriter>::behindTheLast);
}

void TestVirtualOrder::addServices()
{
    using Chief = AbstractNetworkAccessChief;
    using Pack = AbstractNetworkConsumersWithExtraTasksPack;
    row("access chief: takeManager", 13, &Chief::takeManager);
    row("access chief: returnManager", 14, &Chief::returnManager);
    row("access chief: consumersStats", 15, &Chief::consumersStats);
    row("access chief: usageSettings", 16, &Chief::usageSettings);
    row("access chief: defaultConsumerSettings", 17, &Chief::defaultConsumerSettings);
    row("access chief: nothing follows defaultConsumerSettings", 18, &Extended<Chief>::behindTheLast);
    row("file operations: nothing follows the object's", 13, &Extended<AbstractDownloadFileOps>::behindTheLast);
    row("statistics: nothing follows the object's", 13, &Extended<AbstractNetworkConsumersStats>::behindTheLast);
    row("pack: nothing follows the object's", 13, &Extended<Pack>::behindTheLast);
    row("logger: log", 3, &QtAppLogger::log);
    row("logger: verbosityLevel", 4, &QtAppLogger::verbosityLevel);
    row("logger: nothing follows verbosityLevel", 5, &Extended<QtAppLogger>::behindTheLast);
}

void TestVirtualOrder::addEntry()
{
    using Entry = AbstractDownloadModuleEntry;
    row("modules' provider: nothing follows the end", 3, &Extended<AbstractDownloadsModulesProvider>::behindTheLast);
    row("entry: uniqueIds", 3, &Entry::uniqueIds);
    row("entry: createModule", 4, &Entry::createModule);
    row("entry: nothing follows createModule", 5, &Extended<Entry>::behindTheLast);
}

void TestVirtualOrder::placeInTheTable()
{
    QFETCH(int, place);
    QFETCH(int, expected);
    QCOMPARE(place, expected);
}

QTEST_GUILESS_MAIN(TestVirtualOrder)
#include "tst_virtualorder.moc"
