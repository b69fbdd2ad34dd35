// SPDX-License-Identifier: MIT
#include <host/network/networkpath.h>
#include <tests/support/testca.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

using Kind = Failure::Kind;

/// By which way nothing can go, and why.
class TestNetworkPath : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void anyWayIsGood();
    void interfacesAreThisMachines_data();
    void interfacesAreThisMachines();
    void whatIsShownHasItsKey_data();
    void whatIsShownHasItsKey();

private:
    QString copyOf(const QString &file, const QString &name) const
    {
        const QString path = m_dir.filePath(name);
        return QFile::copy(file, path) ? path : QString();
    }

    std::unique_ptr<TestCa> m_ca;
    QTemporaryDir m_dir;
    QString m_lockedKey; ///< behind the password "open"
};

void TestNetworkPath::initTestCase()
{
    m_ca = std::make_unique<TestCa>();
    QVERIFY2(m_ca->isValid(), qPrintable(m_ca->errorText()));
    m_lockedKey = m_dir.filePath(u"locked.key"_s);
    QCOMPARE(QProcess::execute(u"openssl"_s,
                               {u"pkey"_s, u"-in"_s, m_ca->keyFile(), u"-aes128"_s, u"-passout"_s, u"pass:open"_s,
                                u"-out"_s, m_lockedKey}),
             0);
}

void TestNetworkPath::anyWayIsGood()
{
    QVERIFY(!NetworkPath().problem());
    NetworkPath path;
    path.keyFile = u"/nowhere/a.key"_s;
    QVERIFY2(!path.problem(), "a key alone is shown to nobody");
}

void TestNetworkPath::interfacesAreThisMachines_data()
{
    QTest::addColumn<QString>("interface");
    QTest::addColumn<bool>("isThere");
    QTest::newRow("by its name") << u"lo"_s << true;
    QTest::newRow("by its address") << u"127.0.0.1"_s << true;
    QTest::newRow("a name of no interface") << u"nowhere0"_s << false;
    QTest::newRow("an address of another machine") << u"192.0.2.1"_s << false;
    QTest::newRow("a name in another spelling") << u"LO"_s << false;
}

void TestNetworkPath::interfacesAreThisMachines()
{
    QFETCH(QString, interface);
    QFETCH(bool, isThere);
    NetworkPath path;
    path.interface = interface;
    const Failure failure = path.problem();
    QCOMPARE(failure.kind, isThere ? Kind::None : Kind::InterfaceUnusable);
    QCOMPARE(failure.subject.title, isThere ? QString() : interface);
    QVERIFY2(isThere || failure.plain().contains(u"lo"_s), qPrintable(failure.plain()));
}

void TestNetworkPath::whatIsShownHasItsKey_data()
{
    QTest::addColumn<QString>("certificate");
    QTest::addColumn<QString>("key"); // empty = in the same file
    QTest::addColumn<QByteArray>("password");
    QTest::addColumn<QString>("file"); // that is to blame; empty = all is well
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const QString &certificate, const QString &key, const QByteArray &password,
                        const QString &file, const QString &reason) {
        QTest::newRow(name) << certificate << key << password << file << reason;
    };
    const QString mine = m_ca->certificateFile();
    const QString other = m_ca->issue(u"other"_s, u"DNS:other.invalid"_s, 30);
    const QString noKey = u"no-key"_s;
    row("both in one file", m_ca->bundleFile(), {}, {}, {}, {});
    row("each in its own", mine, m_ca->keyFile(), {}, {}, {});
    row("a password that fits", mine, m_lockedKey, "open", {}, {});
    row("another password", mine, m_lockedKey, "shut", m_lockedKey, noKey);
    row("no password, and nobody is asked for one", mine, m_lockedKey, {}, m_lockedKey, noKey);
    row("a password for a key that needs none", mine, m_ca->keyFile(), "open", {}, {});
    row("no key", mine, {}, {}, mine, noKey);
    row("the key of another", mine, other + u".key"_s, {}, other + u".key"_s, u"key-of-another"_s);
    row("a certificate in the key's place", mine, mine, {}, mine, noKey);
    row("no certificate", m_ca->keyFile(), {}, {}, m_ca->keyFile(), u"no-certificate"_s);
    row("no file", u"/nowhere/me.pem"_s, m_ca->keyFile(), {}, u"/nowhere/me.pem"_s, u"No such file or directory"_s);
    row("no file of the key", mine, u"/nowhere/me.key"_s, {}, u"/nowhere/me.key"_s, u"No such file or directory"_s);
    row("a folder", m_dir.path(), m_ca->keyFile(), {}, m_dir.path(), u"file to open is a directory"_s);
    row("a name beyond ASCII", copyOf(m_ca->bundleFile(), u"zertifikät.pem"_s), {}, {}, {}, {});
}

void TestNetworkPath::whatIsShownHasItsKey()
{
    QFETCH(QString, certificate);
    QFETCH(QString, key);
    QFETCH(QByteArray, password);
    QFETCH(QString, file);
    NetworkPath path;
    path.certificateFile = certificate;
    path.keyFile = key;
    path.keyPassword = password;
    const Failure failure = path.problem();
    QCOMPARE(failure.kind, file.isEmpty() ? Kind::None : Kind::ClientCertificateUnusable);
    QCOMPARE(failure.subject.path, file);
    QTEST(failure.plain(), "reason");
    QVERIFY(password.isEmpty() || !failure.plain().contains(QString::fromUtf8(password)));
}

QTEST_GUILESS_MAIN(TestNetworkPath)
#include "tst_networkpath.moc"
