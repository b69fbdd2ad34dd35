// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/realservers.h>
#include <tests/support/testfiles.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
using Kind = RealServers::Kind;
using Scheme = RealServer::Scheme;

constexpr qint64 kSize = qint64(1) << 30;
constexpr quint64 kSeed = 12;
}

/// A gibibyte: more than any buffer holds, and enough for every split.
class TestPlaitLarge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aGibibyteArrivesWhole_data();
    void aGibibyteArrivesWhole();

private:
    RealServers m_servers;
    QByteArray m_hash;
};

void TestPlaitLarge::initTestCase()
{
    QVERIFY2(m_servers.start(), qPrintable(m_servers.errorText()));
    QVERIFY(m_servers.addFile(u"large.bin"_s, kSeed, kSize));
    m_hash = TestFiles::sha256OfContent(kSeed, kSize);
}

void TestPlaitLarge::aGibibyteArrivesWhole_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<Scheme>("scheme");
    QTest::newRow("over http from nginx") << Kind::Nginx << Scheme::Http;
    QTest::newRow("over https from nginx") << Kind::Nginx << Scheme::Https;
    QTest::newRow("over http from lighttpd") << Kind::Lighttpd << Scheme::Http;
    QTest::newRow("over https from lighttpd") << Kind::Lighttpd << Scheme::Https;
}

void TestPlaitLarge::aGibibyteArrivesWhole()
{
    QFETCH(Kind, kind);
    QFETCH(Scheme, scheme);
    PlaitSandbox plait;
    const PlaitResult result = plait.run({u"--ca-certificate"_s, m_servers.ca().caFile(),
                                          m_servers.server(kind).url(u"/large.bin"_s, scheme).toString()});
    QVERIFY2(result.status == 0, result.err);
    QCOMPARE(plait.files(), QStringList(u"large.bin"_s));
    QCOMPARE(TestFiles::sha256OfFile(plait.path(u"large.bin"_s)), m_hash);
}

QTEST_GUILESS_MAIN(TestPlaitLarge)
#include "tst_plait_large.moc"
