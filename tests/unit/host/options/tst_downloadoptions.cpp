// SPDX-License-Identifier: MIT
#include <host/options/downloadoptions.h>
#include <host/options/optionvalues.h>
#include <host/policy/trouble.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QString kMd5 = u"md5=d41d8cd98f00b204e9800998ecf8427e"_s;

OptionValues valuesOf(const QJsonObject &json)
{
    return OptionValues::fromJson(json);
}

}

class TestDownloadOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aNewDownloadAsksAndHasNoLimitsOfItsOwn();
    void whatIsGivenReplacesWhatWasThere();
    void whatIsNotGivenStays();
    void anotherChecksumIsYetToBeCompared();
    void whoWasInsecureStaysSo();
    void whatADownloadHasCanBeSaid();
};

void TestDownloadOptions::aNewDownloadAsksAndHasNoLimitsOfItsOwn()
{
    const DownloadOptions options = DownloadOptions::of(OptionValues());
    QCOMPARE(options.onChanged, int(Trouble::Policy::Ask));
    QCOMPARE(options.onUnresumable, int(Trouble::Policy::Ask));
    QCOMPARE(options.connections, 0);
    QCOMPARE(options.connectionsPerServer, 0);
    QCOMPARE(options.rateLimit, 0);
    QVERIFY(options.checksumAlgorithm.isEmpty() && !options.skipExisting && !options.insecure);
}

void TestDownloadOptions::whatIsGivenReplacesWhatWasThere()
{
    DownloadOptions options = DownloadOptions::of(valuesOf({{u"limit-rate"_s, u"1K"_s}, {u"max-connections"_s, 3}}));
    QCOMPARE(options.rateLimit, 1024);
    QCOMPARE(options.connections, 3);
    options.give(valuesOf({{u"limit-rate"_s, 0}, {u"on-changed"_s, u"restart"_s}, {u"on-exists"_s, u"skip"_s}}));
    QCOMPARE(options.rateLimit, 0);
    QCOMPARE(options.connections, 3);
    QCOMPARE(options.onChanged, int(Trouble::Policy::Restart));
    QVERIFY(options.skipExisting);
    options.give(valuesOf({{u"on-exists"_s, u"rename"_s}}));
    QVERIFY(!options.skipExisting);
}

void TestDownloadOptions::whatIsNotGivenStays()
{
    DownloadOptions options;
    options.rateLimit = 5;
    options.onChanged = int(Trouble::Policy::Restart);
    const DownloadOptions before = options;
    options.give(valuesOf({{u"tries"_s, 3}, {u"user-agent"_s, u"a"_s}}));
    QCOMPARE(options, before);
}

void TestDownloadOptions::anotherChecksumIsYetToBeCompared()
{
    DownloadOptions options = DownloadOptions::of(valuesOf({{u"checksum"_s, kMd5}}));
    QCOMPARE(options.checksumAlgorithm, u"md5"_s);
    options.checksumResult = ChecksumResult::Equal;
    options.give(valuesOf({{u"checksum"_s, kMd5}}));
    QCOMPARE(options.checksumResult, ChecksumResult::Equal);
    options.give(valuesOf({{u"checksum"_s, u"md5=00000000000000000000000000000000"_s}}));
    QCOMPARE(options.checksumResult, ChecksumResult::NotCompared);
}

void TestDownloadOptions::whoWasInsecureStaysSo()
{
    DownloadOptions options = DownloadOptions::of(valuesOf({{u"insecure"_s, true}}));
    options.give(valuesOf({{u"insecure"_s, false}}));
    QVERIFY(options.insecure);
}

void TestDownloadOptions::whatADownloadHasCanBeSaid()
{
    const QJsonObject said{{u"limit-rate"_s, 2048}, {u"on-changed"_s, u"restart"_s}, {u"checksum"_s, kMd5}};
    const QJsonObject shown = DownloadOptions::of(valuesOf(said)).values().toJson();
    for (auto it = said.begin(); it != said.end(); ++it)
        QCOMPARE(shown.value(it.key()), it.value());
    QCOMPARE(shown.value("on-unresumable"_L1), QJsonValue(u"ask"_s));
    QVERIFY(!shown.contains("max-connections"_L1));
}

QTEST_GUILESS_MAIN(TestDownloadOptions)
#include "tst_downloadoptions.moc"
