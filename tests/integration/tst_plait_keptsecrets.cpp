// SPDX-License-Identifier: MIT
#include <tests/integration/partway.h>
#include <tests/integration/plaitsandbox.h>
#include <tests/support/authentication.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDone = 0;
constexpr quint64 kSeed = 31;
constexpr qint64 kSize = 200000;
const QString kName = u"file.bin"_s;
/// Stands in every secret of these tests and nowhere else.
const QByteArray kSecret = QByteArrayLiteral("s3cr3t");
const QString kToken = u"X-Vault-Token: s3cr3t"_s;
const QString kTeamKey = u"DD-API-KEY: s3cr3t-team"_s;
const QByteArray kAgain = QByteArrayLiteral("give");

}

/// What the list keeps of secrets, what a person is asked to give again, and who gets what was kept.
class TestPlaitKeptSecrets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void whatIsNotKeptIsAskedForOnceAndTheDownloadGoesOn_data();
    void whatIsNotKeptIsAskedForOnceAndTheDownloadGoesOn();
    void nothingIsSaidWhereAllIsGivenAgain_data();
    void nothingIsSaidWhereAllIsGivenAgain();
    void theSameCommandAgainSaysNothing();
    void aProgramIsToldInAWarning();
    void onlyWhatIsStillMissingIsNamed();
    void aHarmlessHeaderIsNotForgotten();
    void keptValuesHoldAgain();
    void keptValuesAreShownNowhereAndLeaveWithTheDownload();
    void aKeptHeaderIsForItsOwnDownloadAlone();
    void aNewAddressOfAnotherServerGetsNothingThatWasKept();
    void aNewAddressIsAskedWithItsOwnHeaders();
    void showNamesTheHeadersWithoutTheirValues();

private:
    QString url(const QString &path = u"/file.bin"_s) const { return m_server->url(path).toString(); }
    /// Download 1, stopped in its middle; from now on its server sends all of it.
    void leave(const QStringList &options);
    QStringList filesWithSecret() const;
    QList<ScriptedRequest> later() const { return m_server->requests().mid(m_before); }

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
    qsizetype m_before = 0;
};

void TestPlaitKeptSecrets::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_plait = std::make_unique<PlaitSandbox>();
}

void TestPlaitKeptSecrets::leave(const QStringList &options)
{
    m_server->setResponse("/file.bin", PartWay::held(kSeed, kSize, kSize / 2));
    const QString problem = PartWay::leave(*m_plait, options + QStringList{url()}, kName, kSeed);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    m_before = m_server->requests().size();
}

QStringList TestPlaitKeptSecrets::filesWithSecret() const
{
    QDirIterator files(m_plait->dataHome(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    QStringList names;
    while (files.hasNext()) {
        const QString path = files.next();
        if (TestFiles::readFile(path).contains(kSecret))
            names.append(QFileInfo(path).fileName());
    }
    return names;
}

void TestPlaitKeptSecrets::whatIsNotKeptIsAskedForOnceAndTheDownloadGoesOn_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("resume") << u"resume"_s;
    QTest::newRow("restart") << u"restart"_s;
    QTest::newRow("check") << u"check"_s;
}

void TestPlaitKeptSecrets::whatIsNotKeptIsAskedForOnceAndTheDownloadGoesOn()
{
    QFETCH(QString, command);
    leave({u"--header"_s, kToken, u"--header-for-all"_s, kTeamKey});
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(filesWithSecret(), QStringList());
    const PlaitResult result = m_plait->runBare({command, u"1"_s});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(result.err.count(kAgain), 1);
    QVERIFY2(result.err.contains("--header 'X-Vault-Token: …'")
                 && result.err.contains("--header-for-all 'DD-API-KEY: …'"),
             result.err);
    QVERIFY(!later().isEmpty() && !later().first().hasHeader("X-Vault-Token"));
    QCOMPARE(m_plait->has(kName), command != "check"_L1);
}

void TestPlaitKeptSecrets::nothingIsSaidWhereAllIsGivenAgain_data()
{
    whatIsNotKeptIsAskedForOnceAndTheDownloadGoesOn_data();
}

void TestPlaitKeptSecrets::nothingIsSaidWhereAllIsGivenAgain()
{
    QFETCH(QString, command);
    const QStringList headers{u"--header"_s, kToken, u"--header-for-all"_s, kTeamKey};
    leave(headers);
    if (QTest::currentTestFailed())
        return;
    const PlaitResult result = m_plait->runBare(QStringList{command, u"1"_s} + headers);
    QVERIFY2(result.status == kDone && !result.err.contains(kAgain), result.err);
    QVERIFY(!later().isEmpty());
    for (const ScriptedRequest &request : later()) {
        QCOMPARE(request.header("X-Vault-Token"), kSecret);
        QCOMPARE(request.header("DD-API-KEY"), kSecret + "-team");
    }
    QCOMPARE(filesWithSecret(), QStringList());
}

void TestPlaitKeptSecrets::theSameCommandAgainSaysNothing()
{
    leave({u"--header"_s, kToken});
    if (QTest::currentTestFailed())
        return;
    const PlaitResult result = m_plait->run({u"--header"_s, kToken, url()});
    QVERIFY2(result.status == kDone && !result.err.contains(kAgain), result.err);
    QCOMPARE(later().first().header("X-Vault-Token"), kSecret);
    QCOMPARE(m_plait->files(), QStringList(kName));
}

void TestPlaitKeptSecrets::aProgramIsToldInAWarning()
{
    leave({u"--header"_s, kToken});
    if (QTest::currentTestFailed())
        return;
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s, u"--json"_s});
    QCOMPARE(result.status, kDone);
    const QList<QByteArray> lines = result.out.split('\n');
    QVERIFY2(lines.at(0).contains("\"event\":\"begin\""), result.out);
    QVERIFY2(lines.at(1).contains("\"event\":\"warning\"") && lines.at(1).contains("X-Vault-Token"), result.out);
}

void TestPlaitKeptSecrets::onlyWhatIsStillMissingIsNamed()
{
    leave({u"--header"_s, kToken, u"--header"_s, u"Cookie: id=s3cr3t"_s});
    if (QTest::currentTestFailed())
        return;
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s, u"--header"_s, u"cookie: id=s3cr3t"_s});
    QCOMPARE(result.status, kDone);
    QVERIFY2(result.err.contains("the header \"X-Vault-Token\", whose"), result.err);
}

void TestPlaitKeptSecrets::aHarmlessHeaderIsNotForgotten()
{
    leave({u"--header"_s, u"Accept-Language: de"_s, u"--header"_s, u"DNT: 1"_s});
    if (QTest::currentTestFailed())
        return;
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s, u"--header"_s, u"accept-language: fr"_s});
    QVERIFY2(result.status == kDone && !result.err.contains(kAgain), result.err);
    QCOMPARE(later().first().header("Accept-Language"), "fr");
    QCOMPARE(later().first().header("DNT"), "1");
}

void TestPlaitKeptSecrets::keptValuesHoldAgain()
{
    ScriptedServer other;
    other.setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    leave({u"--keep-secrets"_s, u"--header"_s, kToken, u"--header-for-all"_s, kTeamKey});
    if (QTest::currentTestFailed())
        return;
    m_server->setResponse("/file.bin", ScriptedResponse::redirect(other.url(u"/file.bin"_s).toEncoded()));
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.status == kDone && !result.err.contains(kAgain), result.err);
    QCOMPARE(later().first().header("X-Vault-Token"), kSecret);
    QCOMPARE(later().first().header("DD-API-KEY"), kSecret + "-team");
    QVERIFY(!other.requests().first().hasHeader("X-Vault-Token"));
    QCOMPARE(other.requests().first().header("DD-API-KEY"), kSecret + "-team");
}

void TestPlaitKeptSecrets::keptValuesAreShownNowhereAndLeaveWithTheDownload()
{
    leave({u"--keep-secrets"_s, u"--header"_s, kToken});
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(filesWithSecret(), QStringList(u"downloads.sqlite"_s));
    for (const QStringList &arguments :
         {QStringList{u"list"_s}, QStringList{u"show"_s, u"1"_s}, QStringList{u"show"_s, u"1"_s, u"--json"_s},
          QStringList{u"check"_s, u"1"_s, u"--log-level"_s, u"9"_s}}) {
        const PlaitResult result = m_plait->runBare(arguments);
        QVERIFY2(result.status == kDone && !(result.out + result.err).contains(kSecret), result.out + result.err);
    }
    QCOMPARE(m_plait->runBare({u"remove"_s, u"1"_s}).status, kDone);
    QCOMPARE(filesWithSecret(), QStringList());
}

void TestPlaitKeptSecrets::aKeptHeaderIsForItsOwnDownloadAlone()
{
    leave({u"--keep-secrets"_s, u"--header"_s, kToken, u"--header-for-all"_s, kTeamKey});
    if (QTest::currentTestFailed())
        return;
    m_server->setResponse("/other.bin", PartWay::held(kSeed, kSize, kSize / 2));
    const QString problem = PartWay::leave(*m_plait, {url(u"/other.bin"_s)}, u"other.bin"_s, kSeed);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    m_server->setResponse("/other.bin", ScriptedResponse::file(kSeed, kSize));
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"--all"_s});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(m_server->requests("/file.bin").last().header("X-Vault-Token"), kSecret);
    QVERIFY(!m_server->requests("/other.bin").last().hasHeader("X-Vault-Token"));
    QVERIFY(!m_server->requests("/other.bin").last().hasHeader("DD-API-KEY"));
}

void TestPlaitKeptSecrets::aNewAddressOfAnotherServerGetsNothingThatWasKept()
{
    ScriptedServer other;
    other.setHandler("/file.bin", Authentication::basic("you:right", ScriptedResponse::file(kSeed, kSize)));
    leave({u"--keep-secrets"_s, u"--header"_s, kToken, u"--user"_s, u"me:s3cr3t"_s});
    if (QTest::currentTestFailed())
        return;
    QUrl fresh = other.url(u"/file.bin"_s);
    fresh.setUserInfo(u"you:right"_s);
    const PlaitResult merged = m_plait->runBare({u"set-url"_s, u"1"_s, fresh.toString()});
    QVERIFY2(merged.status == kDone, merged.err);
    QCOMPARE(filesWithSecret(), QStringList());
    const PlaitResult refused = m_plait->runBare({u"resume"_s, u"1"_s});
    QCOMPARE(refused.status, 24);
    QVERIFY2(!refused.err.contains(kAgain), refused.err);
    for (const ScriptedRequest &request : other.requests())
        QVERIFY(!request.hasHeader("X-Vault-Token"));
    QVERIFY(!other.requests().last().hasHeader("Authorization"));
}

void TestPlaitKeptSecrets::aNewAddressIsAskedWithItsOwnHeaders()
{
    ScriptedServer other;
    other.setHandler("/file.bin", Authentication::bearer(kSecret, ScriptedResponse::file(kSeed, kSize)));
    leave({});
    if (QTest::currentTestFailed())
        return;
    const QStringList header{u"--header"_s, u"Authorization: Bearer s3cr3t"_s};
    const PlaitResult merged =
        m_plait->runBare(QStringList{u"set-url"_s, u"1"_s, other.url(u"/file.bin"_s).toString()} + header);
    QVERIFY2(merged.status == kDone, merged.err);
    QCOMPARE(filesWithSecret(), QStringList());
    const PlaitResult result = m_plait->runBare({u"resume"_s, u"1"_s});
    QVERIFY2(result.err.contains("--header 'Authorization: …'"), result.err);
    QCOMPARE(m_plait->runBare(QStringList{u"resume"_s, u"1"_s} + header).status, kDone);
    QCOMPARE(TestFiles::sha256OfFile(m_plait->path(kName)), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitKeptSecrets::showNamesTheHeadersWithoutTheirValues()
{
    leave({u"--header"_s, kToken});
    if (QTest::currentTestFailed())
        return;
    const PlaitResult result = m_plait->runBare({u"show"_s, u"1"_s});
    QVERIFY2(result.out.contains("X-Vault-Token, value not kept") && !result.out.contains(kSecret), result.out);
}

QTEST_GUILESS_MAIN(TestPlaitKeptSecrets)
#include "tst_plait_keptsecrets.moc"
