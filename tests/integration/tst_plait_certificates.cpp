// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kCertificateRefused = 34;

constexpr quint64 kSeed = 47;
constexpr qint64 kSize = 400000;
const QString kName = u"file.bin"_s;
}

/// Who cannot prove to be whom he should be is refused with the reason, and no byte of his is kept.
class TestPlaitCertificates : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void aFlawedCertificateIsRefusedWithItsReason_data();
    void aFlawedCertificateIsRefusedWithItsReason();
    void aFlawedCertificateIsAcceptedWhereTheUserInsists_data();
    void aFlawedCertificateIsAcceptedWhereTheUserInsists();
    void whatWasMissingMayBeNamed_data();
    void whatWasMissingMayBeNamed();
    void aServerThatSpeaksOnlyOldTlsIsRefused_data();
    void aServerThatSpeaksOnlyOldTlsIsRefused();

private:
    void startServer(const QString &flaw);
    PlaitResult fetch(const QStringList &arguments);
    void verifyRefused(const PlaitResult &result, const QByteArray &words) const;
    void verifyWhole(const PlaitResult &result) const;

    TestCa m_ca;
    QHash<QString, QString> m_stems; ///< by flaw
    std::unique_ptr<NginxServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitCertificates::initTestCase()
{
    QVERIFY2(m_ca.isValid(), qPrintable(m_ca.errorText()));
    m_stems = {{u"expired"_s, m_ca.issue(u"expired"_s, u"IP:127.0.0.1"_s, -1)},
               {u"early"_s, m_ca.issueNotYetValid(u"early"_s)},
               {u"self-signed"_s, m_ca.issueSelfSigned(u"self-signed"_s)},
               {u"name"_s, m_ca.issue(u"name"_s, u"DNS:elsewhere.invalid"_s, 5)},
               {u"incomplete"_s, m_ca.issueByIntermediate(u"incomplete"_s)},
               {u"purpose"_s, m_ca.issueForClients(u"purpose"_s)}};
    for (auto stem = m_stems.cbegin(); stem != m_stems.cend(); ++stem) {
        QVERIFY2(!stem.value().isEmpty(), qPrintable(stem.key() + u": "_s + m_ca.errorText()));
    }
}

void TestPlaitCertificates::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
    m_server = std::make_unique<NginxServer>();
    QVERIFY(m_server->addFile(kName, kSeed, kSize));
}

void TestPlaitCertificates::startServer(const QString &flaw)
{
    m_server->setCertificate(m_stems.value(flaw));
    QVERIFY2(m_server->start(m_ca), qPrintable(m_server->errorText()));
}

PlaitResult TestPlaitCertificates::fetch(const QStringList &arguments)
{
    return m_plait->run(arguments + QStringList{m_server->url(u"/file.bin"_s, RealServer::Scheme::Https).toString()});
}

void TestPlaitCertificates::verifyRefused(const PlaitResult &result, const QByteArray &words) const
{
    QVERIFY2(result.status == kCertificateRefused, result.err);
    QVERIFY2(result.err.contains(words), result.err);
    QCOMPARE(m_plait->files(), QStringList());
    QCOMPARE(m_server->logEntries().size(), 0);
}

void TestPlaitCertificates::verifyWhole(const PlaitResult &result) const
{
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(m_plait->files(), QStringList(kName));
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(kName)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitCertificates::aFlawedCertificateIsRefusedWithItsReason_data()
{
    QTest::addColumn<QString>("flaw");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("one that has expired") << u"expired"_s << "it expired on 20"_ba;
    QTest::newRow("one that is not valid yet") << u"early"_s << "not yet valid"_ba;
    QTest::newRow("one that rests on itself") << u"self-signed"_s << "self-signed"_ba;
    QTest::newRow("one of another name") << u"name"_s << "it is for \""_ba;
    QTest::newRow("one whose authority is not shown") << u"incomplete"_s << "nobody here knows the authority"_ba;
    QTest::newRow("one for clients") << u"purpose"_s << "purpose"_ba;
}

void TestPlaitCertificates::aFlawedCertificateIsRefusedWithItsReason()
{
    QFETCH(QString, flaw);
    QFETCH(QByteArray, words);
    startServer(flaw);
    verifyRefused(fetch({u"--ca-certificate"_s, m_ca.caFile()}), words);
}

void TestPlaitCertificates::aFlawedCertificateIsAcceptedWhereTheUserInsists_data()
{
    aFlawedCertificateIsRefusedWithItsReason_data();
}

void TestPlaitCertificates::aFlawedCertificateIsAcceptedWhereTheUserInsists()
{
    QFETCH(QString, flaw);
    startServer(flaw);
    verifyWhole(fetch({u"--insecure"_s}));
}

void TestPlaitCertificates::whatWasMissingMayBeNamed_data()
{
    QTest::addColumn<QString>("flaw");
    QTest::addColumn<QStringList>("names");
    QTest::newRow("the authority itself") << QString() << QStringList{m_ca.caFile()};
    QTest::newRow("a certificate that rests on itself")
        << u"self-signed"_s << QStringList{m_stems.value(u"self-signed"_s) + u".pem"_s};
    QTest::newRow("the authority between, besides the first one")
        << u"incomplete"_s << QStringList{m_ca.caFile(), m_ca.intermediateFile()};
}

void TestPlaitCertificates::whatWasMissingMayBeNamed()
{
    QFETCH(QString, flaw);
    QFETCH(QStringList, names);
    startServer(flaw);
    const QString all = m_plait->path(u"../all.pem"_s);
    QFile file(all);
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (const QString &name : names) {
        file.write(TestFiles::readFile(name));
    }
    file.close();
    verifyWhole(fetch({u"--ca-certificate"_s, all}));
}

void TestPlaitCertificates::aServerThatSpeaksOnlyOldTlsIsRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("with its authority named") << QStringList{u"--ca-certificate"_s, m_ca.caFile()};
    QTest::newRow("whatever the user insists on") << QStringList{u"--insecure"_s};
}

void TestPlaitCertificates::aServerThatSpeaksOnlyOldTlsIsRefused()
{
    QFETCH(QStringList, arguments);
    m_server->setOldTls();
    startServer({});
    const PlaitResult result = fetch(arguments);
    verifyRefused(result, "cannot agree with \"127.0.0.1\" on an encrypted connection");
    QVERIFY2(result.err.contains("TLS before 1.2") && !result.err.contains("OpenSSL/"), result.err);
}

QTEST_GUILESS_MAIN(TestPlaitCertificates)
#include "tst_plait_certificates.moc"
