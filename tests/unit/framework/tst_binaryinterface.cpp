// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/abstractdownloadfileops.h>
#include <inet/qt/download/framework/abstractdownloadmodule.h>
#include <inet/qt/download/framework/abstractdownloadmoduleentry.h>
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/abstractnetworkconsumerswithextrataskspack.h>
#include <inet/qt/download/framework/downloaddetails.h>
#include <inet/qt/download/framework/filedataasyncwriter.h>
#include <inet/qt/download/framework/memorydataasyncwriter.h>
#include <inet/qt/download/framework/qtapplogger.h>
#include <inet/qt/download/framework/qtappsystemdefaultuseragentmanager.h>
#include <inet/qt/download/framework/qtqobjectstracker.h>
#include <inet/qt/download/records/abstractdownloadpersistentinfo.h>
#include <inet/qt/download/records/connectionsmap.h>
#include <inet/qt/download/records/networkusagesettings.h>
#include <inet/qt/download/records/wwwdownloadsourceinfo.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

#include <bit>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <memory>

using namespace Qt::StringLiterals;

/// Modules are built apart from the library and see its headers only: a name that is gone, a record that grew, a field
/// that moved show when somebody else's module crashes. So the list of them all is kept, and compared.
namespace
{

const QString kListFile = QStringLiteral(PLAIT_INTERFACE_LIST);
constexpr char kRenewVariable[] = "PLAIT_RENEW_INTERFACE";

QString libraryFile()
{
    Dl_info info = {};
    dladdr(reinterpret_cast<void *>(&operationAbortedError), &info);
    return QFile::decodeName(info.dli_fname);
}

/// What nm shows of one symbol: its kind, and its name as the linker knows it.
struct Symbol {
    char kind = 0;
    QByteArray name;

    /// As it stands in the source; empty where it is not ours to promise. Weak functions are what the compiler did not
    /// inline; of weak data only what names a class of ours at run time counts. Instrumentation has names in plain C.
    QString promised() const
    {
        const bool isStrong = QByteArray("TDBR").contains(kind);
        if (!name.startsWith("_Z") || !(isStrong || kind == 'V'))
            return {};
        int status = 0;
        const std::unique_ptr<char, decltype(&std::free)> text(
            abi::__cxa_demangle(name.constData(), nullptr, nullptr, &status), &std::free);
        const QString plain = QString::fromUtf8(text.get());
        const bool isForeign = !isStrong && (plain.contains('<'_L1) || plain.contains("std::"_L1));
        return isForeign || plain.contains("::Private::"_L1) ? QString() : plain;
    }
};

/// Constructors and destructors come in several variants of one name.
QStringList exportedSymbols(const QString &library)
{
    QProcess nm;
    nm.start(QStringLiteral(PLAIT_NM), {u"-D"_s, u"--defined-only"_s, library});
    if (!nm.waitForFinished() || nm.exitCode() != 0)
        return {};
    QStringList names;
    for (const QByteArray &line : nm.readAllStandardOutput().split('\n')) {
        const QByteArrayList words = line.simplified().split(' ');
        if (words.size() != 3)
            continue;
        const QString name = Symbol{words.at(1).at(0), words.at(2)}.promised();
        if (!name.isEmpty())
            names.append("symbol "_L1 + name);
    }
    names.removeDuplicates();
    return names;
}

template<typename Type>
QString sizeOf(const char *name)
{
    return u"size %1: %2 bytes"_s.arg(QLatin1String(name)).arg(sizeof(Type));
}

template<typename Record, typename Value>
QString field(const char *name, Value Record::*member)
{
    return u"field %1: %2 bytes at %3"_s.arg(QLatin1String(name))
        .arg(sizeof(Value))
        .arg(std::bit_cast<qptrdiff>(member));
}

#define SIZE(Type) sizeOf<Type>(#Type)
#define FIELD(Record, name) field(#Record "::" #name, &Record::name)

/// Classes whose objects one side makes and the other derives from or holds.
QStringList sizesOfClasses()
{
    return {SIZE(AbstractDataAsyncProcessor),
            SIZE(AbstractDownload),
            SIZE(AbstractDownloadFileOps),
            SIZE(AbstractDownloadModule),
            SIZE(AbstractDownloadModuleEntry),
            SIZE(AbstractDownloadsModulesProvider),
            SIZE(AbstractNetworkAccessChief),
            SIZE(AbstractNetworkConsumer),
            SIZE(AbstractNetworkConsumerWithExtraTasks),
            SIZE(AbstractNetworkConsumersStats),
            SIZE(AbstractNetworkConsumersWithExtraTasksPack),
            SIZE(FileDataAsyncWriter),
            SIZE(MemoryDataAsyncWriter),
            SIZE(QtAbstractComplexModule),
            SIZE(QtAbstractModule),
            SIZE(QtAppLogger),
            SIZE(QtAppSystemDefaultUserAgentManager),
            SIZE(QtQObjectsTracker)};
}

QStringList sizesOfRecords()
{
    return {SIZE(AbstractDownloadFileInfo),
            SIZE(AbstractDownloadFileOps::FileInitializeOperation),
            SIZE(AbstractDownloadGuid),
            SIZE(AbstractDownloadMergeOptions),
            SIZE(AbstractDownloadMergeTaskOptions),
            SIZE(AbstractDownloadMirrorInfo),
            SIZE(AbstractDownloadPersistentInfo),
            SIZE(AbstractDownloadPersistentInfoSortByPlusOrder),
            SIZE(AbstractDownloadSection),
            SIZE(AbstractDownloadSettings),
            SIZE(AbstractDownloadSourceInfo),
            SIZE(AbstractError),
            SIZE(AbstractFileInfo),
            SIZE(AbstractNetworkConsumerSettings),
            SIZE(AbstractNewDownloadsRequest),
            SIZE(AbstractNewDownloadsRequestJob),
            SIZE(DownloadDetails),
            SIZE(NetworkUsageSettings),
            SIZE(QtConnectionsMapEntry),
            SIZE(QtHostAndPort),
            SIZE(WwwDownloadSourceInfo)};
}

QStringList fieldsOfTheRecord()
{
    using Info = AbstractDownloadPersistentInfo;
    return {FIELD(Info, id),
            FIELD(Info, flags),
            FIELD(Info, childDownloads),
            FIELD(Info, moduleId),
            FIELD(Info, title),
            FIELD(Info, url),
            FIELD(Info, effectiveUrl),
            FIELD(Info, finalUrl),
            FIELD(Info, referer),
            FIELD(Info, cookies),
            FIELD(Info, postData),
            FIELD(Info, webPageUrl),
            FIELD(Info, parameters),
            FIELD(Info, sourceFlags),
            FIELD(Info, userAgent),
            FIELD(Info, mirrors),
            FIELD(Info, destinationType),
            FIELD(Info, folder),
            FIELD(Info, presetFileName),
            FIELD(Info, existingFileReaction),
            FIELD(Info, customTitle),
            FIELD(Info, priority),
            FIELD(Info, createdBy),
            FIELD(Info, creationTime),
            FIELD(Info, finishedTime),
            FIELD(Info, lastError),
            FIELD(Info, lastErrorTime),
            FIELD(Info, resumeSupport),
            FIELD(Info, guid),
            FIELD(Info, files),
            FIELD(Info, content),
            FIELD(Info, uploaded),
            FIELD(Info, sortIndex)};
}

QStringList fieldsOfItsParts()
{
    using File = AbstractDownloadFileInfo;
    return {FIELD(File, type),
            FIELD(File, name),
            FIELD(File, size),
            FIELD(File, selected),
            FIELD(File, sections),
            FIELD(File, pathOnDisk),
            FIELD(File, fileFlags),
            FIELD(File, lastModified),
            FIELD(File, contentType),
            FIELD(File, dataStart),
            FIELD(AbstractDownloadSection, offset),
            FIELD(AbstractDownloadSection, size),
            FIELD(AbstractDownloadSection, downloaded),
            FIELD(AbstractDownloadGuid, isSet),
            FIELD(AbstractDownloadGuid, kind),
            FIELD(AbstractDownloadGuid, value),
            FIELD(AbstractDownloadMirrorInfo, url),
            FIELD(AbstractDownloadMirrorInfo, webPageUrl),
            FIELD(AbstractError, code),
            FIELD(AbstractError, category),
            FIELD(AbstractError, source),
            FIELD(AbstractError, description)};
}

QStringList fieldsOfSourcesAndSettings()
{
    using Source = WwwDownloadSourceInfo;
    using Operation = AbstractDownloadFileOps::FileInitializeOperation;
    using Settings = AbstractNetworkConsumerSettings;
    using Usage = NetworkUsageSettings;
    return {FIELD(Source, url),
            FIELD(Source, referer),
            FIELD(Source, cookies),
            FIELD(Source, postData),
            FIELD(Source, webPageUrl),
            FIELD(Source, parameters),
            FIELD(Source, flags),
            FIELD(Source, sectionOffset),
            FIELD(Source, sectionLength),
            FIELD(Source, sectionDownloaded),
            FIELD(Operation, fileIndex),
            FIELD(Operation, kind),
            FIELD(Operation, name),
            FIELD(Operation, size),
            FIELD(Operation, resultPath),
            FIELD(Operation, isChosen),
            FIELD(Settings, userAgent),
            FIELD(Settings, profile),
            FIELD(Settings, bypassCache),
            FIELD(Settings, ignoreSslErrors),
            FIELD(Usage, downloadLimit),
            FIELD(Usage, maximumConnections),
            FIELD(Usage, maximumConnectionsPerServer),
            FIELD(Usage, lowPriority),
            FIELD(QtHostAndPort, host),
            FIELD(QtHostAndPort, port)};
}

QStringList differences(const QStringList &listed, const QStringList &found)
{
    QStringList lines;
    for (const QString &line : listed) {
        if (!found.contains(line))
            lines.append("gone: "_L1 + line);
    }
    for (const QString &line : found) {
        if (!listed.contains(line))
            lines.append("new:  "_L1 + line);
    }
    return lines;
}

QStringList linesOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split('\n'_L1, Qt::SkipEmptyParts);
}

/// Comes before the differences: Qt Test cuts long messages off.
QString advice()
{
    return u"this is what modules are built against. If it was changed on purpose: raise "
           "AbstractDownloadModuleEntry::kInterfaceVersion where something is gone, grew or moved, write the list anew "
           "with\n  %1=1 %2\nand commit it with the change.\n"_s.arg(QLatin1String(kRenewVariable),
                                                                     QCoreApplication::applicationFilePath());
}

}

class TestBinaryInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theLibraryIsNamedAfterTheInterfaceVersion();
    void whatMovedIsTold();
    void whatIsNotPromisedIsLeftOut_data();
    void whatIsNotPromisedIsLeftOut();
    void nothingChangedUnaware();
};

void TestBinaryInterface::theLibraryIsNamedAfterTheInterfaceVersion()
{
    QCOMPARE(QFileInfo(libraryFile()).fileName(),
             u"libdownloadframework.so.%1"_s.arg(AbstractDownloadModuleEntry::kInterfaceVersion));
}

void TestBinaryInterface::whatMovedIsTold()
{
    const QStringList listed{u"symbol a()"_s, u"field R::f: 4 bytes at 8"_s};
    QCOMPARE(differences(listed, listed), QStringList());
    QCOMPARE(differences(listed, {u"symbol a()"_s, u"field R::f: 4 bytes at 12"_s, u"symbol b()"_s}),
             (QStringList{u"gone: field R::f: 4 bytes at 8"_s, u"new:  field R::f: 4 bytes at 12"_s,
                          u"new:  symbol b()"_s}));
}

void TestBinaryInterface::whatIsNotPromisedIsLeftOut_data()
{
    QTest::addColumn<char>("kind");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("promised");
    QTest::newRow("a function") << 'T' << "_Z6invertv"_ba << u"invert()"_s;
    QTest::newRow("what names a class at run time") << 'V' << "_ZTI11QtAppLogger"_ba << u"typeinfo for QtAppLogger"_s;
    QTest::newRow("a function that was not inlined") << 'W' << "_Z6invertv"_ba << QString();
    QTest::newRow("what names a class of the C++ library") << 'V' << "_ZTISt9exception"_ba << QString();
    QTest::newRow("a sanitizer's mark") << 'B' << "__odr_asan._ZTV11QtAppLogger"_ba << QString();
    QTest::newRow("what a class hides behind itself") << 'T' << "_ZN1A7Private1fEv"_ba << QString();
}

void TestBinaryInterface::whatIsNotPromisedIsLeftOut()
{
    QFETCH(char, kind);
    QFETCH(QByteArray, name);
    QTEST((Symbol{kind, name}.promised()), "promised");
}

void TestBinaryInterface::nothingChangedUnaware()
{
    const QStringList symbols = exportedSymbols(libraryFile());
    QVERIFY2(symbols.contains(u"symbol operationAbortedError(char const*)"_s), qPrintable(symbols.join('\n'_L1)));
    QStringList found = symbols + sizesOfClasses() + sizesOfRecords();
    found.sort();
    found += fieldsOfTheRecord() + fieldsOfItsParts() + fieldsOfSourcesAndSettings();
    if (qEnvironmentVariableIsSet(kRenewVariable)) {
        QFile list(kListFile);
        QVERIFY2(list.open(QIODevice::WriteOnly), qPrintable(list.errorString()));
        QVERIFY(list.write((found.join('\n'_L1) + '\n'_L1).toUtf8()) > 0);
    }
    const QStringList told = differences(linesOf(kListFile), found);
    QVERIFY2(told.isEmpty(), qPrintable(advice() + told.join('\n'_L1)));
}

QTEST_GUILESS_MAIN(TestBinaryInterface)
#include "tst_binaryinterface.moc"
