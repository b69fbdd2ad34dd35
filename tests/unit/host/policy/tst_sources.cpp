// SPDX-License-Identifier: MIT
#include <host/policy/sources.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Record = AbstractDownloadPersistentInfo;

class TestSources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyAddressCountsOnce();
    void aMirrorPutAsideIsLeftOut();
    void whereTheMainAddressIsPutAsideAMirrorStandsInForIt();
    void nothingIsForgottenWhenTheRunIsOver();
    void whenAllArePutAsideEachHasItsReason();
    void whatIsASourcesFault_data();
    void whatIsASourcesFault();
};

namespace
{

QUrl url(const char *host)
{
    return QUrl(u"http://%1/f"_s.arg(QLatin1String(host)));
}

Record record(const QList<const char *> &mirrors)
{
    Record result;
    result.url = url("main");
    for (const char *mirror : mirrors)
        result.mirrors.append({url(mirror), QUrl()});
    return result;
}

QStringList hostsOf(const Record &record)
{
    QStringList hosts{record.downloadUrl().host()};
    for (const AbstractDownloadMirrorInfo &mirror : record.mirrors)
        hosts.append(mirror.url.host());
    return hosts;
}

}

void TestSources::everyAddressCountsOnce()
{
    const Sources sources(record({"a", "main", "a", "b"}));
    Record applied = record({});
    sources.applyTo(applied);
    QCOMPARE(hostsOf(applied), (QStringList{u"main"_s, u"a"_s, u"b"_s}));
    QVERIFY(sources.areSeveral());
    QVERIFY(!Sources(record({"main"})).areSeveral());
}

void TestSources::aMirrorPutAsideIsLeftOut()
{
    Record info = record({"a", "b"});
    Sources sources(info);
    sources.putAside(url("a"), u"r"_s);
    sources.applyTo(info);
    QCOMPARE(hostsOf(info), (QStringList{u"main"_s, u"b"_s}));
    QVERIFY(sources.hasNext());
    QVERIFY(sources.isAside(url("a")) && !sources.isAside(url("b")));
}

void TestSources::whereTheMainAddressIsPutAsideAMirrorStandsInForIt()
{
    Record info = record({"a", "b"});
    Sources sources(info);
    sources.putAside(url("main"), u"r"_s);
    sources.applyTo(info);
    QCOMPARE(hostsOf(info), (QStringList{u"a"_s, u"b"_s}));
    QCOMPARE(info.url, url("main"));
    sources.putAside(url("a"), u"r"_s);
    sources.applyTo(info);
    QCOMPARE(hostsOf(info), QStringList{u"b"_s});
}

void TestSources::nothingIsForgottenWhenTheRunIsOver()
{
    const Record before = record({"a", "b"});
    Record info = before;
    Sources sources(info);
    sources.putAside(url("main"), u"r"_s);
    sources.applyTo(info);
    sources.restore(info);
    QCOMPARE(hostsOf(info), hostsOf(before));
    QVERIFY(!info.effectiveUrl.isValid());
}

void TestSources::whenAllArePutAsideEachHasItsReason()
{
    Sources sources(record({"a"}));
    sources.putAside(url("main"), u"HTTP status 404"_s);
    QVERIFY(sources.hasNext());
    sources.putAside(url("a"), u"another file"_s);
    sources.putAside(url("a"), u"again"_s);
    sources.putAside(url("stranger"), u"never named"_s);
    QVERIFY(!sources.hasNext());
    QCOMPARE(sources.failed(),
             (QList<Failure::Address>{{QUrl(u"http://main/f"_s), u"HTTP status 404"_s},
                                      {QUrl(u"http://a/f"_s), u"another file"_s}}));
}

void TestSources::whatIsASourcesFault_data()
{
    QTest::addColumn<AbstractError>("error");
    QTest::addColumn<bool>("isFault");
    QTest::newRow("an HTTP error") << AbstractError(404, ErrorCategory::kHttp, "s", "d") << true;
    QTest::newRow("another file") << AbstractError(int(DownloadErrorCode::ResourceChanged), ErrorCategory::kDownload,
                                                   "s", "d")
                                  << true;
    QTest::newRow("no ranges") << AbstractError(int(DownloadErrorCode::ResumeNotSupported), ErrorCategory::kDownload,
                                                "s", "d")
                               << true;
    QTest::newRow("the disk") << AbstractError(1, ErrorCategory::kFile, "s", "d") << false;
    QTest::newRow("nothing") << AbstractError() << false;
}

void TestSources::whatIsASourcesFault()
{
    QFETCH(AbstractError, error);
    QTEST(Sources::isSourcesFault(error), "isFault");
}

QTEST_GUILESS_MAIN(TestSources)
#include "tst_sources.moc"
