// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>
#include <host/parsing/netrc.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Entries = QList<Netrc::Entry>;

Entries one(const QString &user, const QString &password, const QString &account = {})
{
    return {{u"host"_s, {user, password}, account}};
}

const Entries kEntries{{u"files.example"_s, {u"ann"_s, u"a1"_s}, {}},
                       {u"files.example"_s, {u"bob"_s, u"b1"_s}, {}},
                       {u"nameless.example"_s, {}, {}},
                       {QString(), {u"anybody"_s, u"d1"_s}, {}}};

}

class TestNetrc : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void textsThatAreRead_data();
    void textsThatAreRead();
    void textsThatAreRefused_data();
    void textsThatAreRefused();
    void aComplaintDoesNotRepeatThePassword();
    void entriesForAHost_data();
    void entriesForAHost();
    void permissionsThatAreWarnedOf_data();
    void permissionsThatAreWarnedOf();
};

void TestNetrc::textsThatAreRead_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<Entries>("entries");
    const auto row = [](const char *name, const char *text, const Entries &entries) {
        QTest::newRow(name) << QByteArray(text) << entries;
    };
    row("an empty file", "", {});
    row("one line", "machine host login me password secret", one(u"me"_s, u"secret"_s));
    row("several lines and tabs", "machine host\n\tlogin me\n\tpassword secret\n", one(u"me"_s, u"secret"_s));
    row("lines of another system", "machine host\r\nlogin me\r\npassword secret\r\n", one(u"me"_s, u"secret"_s));
    row("a mark of the encoding", "\xEF\xBB\xBFmachine host login me", one(u"me"_s, {}));
    row("the password before the login", "machine host password secret login me", one(u"me"_s, u"secret"_s));
    row("an account", "machine host login me account books", one(u"me"_s, {}, u"books"_s));
    row("capitals in the host", "machine HOST login Me", one(u"Me"_s, {}));
    row("letters beyond ASCII", "machine host login j\xC3\xBCrg", one(u"jürg"_s, {}));
    row("comments", "# mine\nmachine host # here\nlogin me\n#password old\n", one(u"me"_s, {}));
    row("a password that begins like a comment", "machine host login me password #1", one(u"me"_s, u"#1"_s));
    row("a password that is a keyword", "machine host login me password machine", one(u"me"_s, u"machine"_s));
    row("quotes", "machine host login \"a b\" password \"c\\\"d\\\\e\"", one(u"a b"_s, u"c\"d\\e"_s));
    row("an empty word in quotes", "machine host login me password \"\"", one(u"me"_s, {}));
    row("a quote within a word", "machine host login me password a\"b", one(u"me"_s, u"a\"b"_s));
    row("a macro is skipped", "machine host login me\nmacdef init\ncd /x\nmachine evil login no\n\npassword secret\n",
        one(u"me"_s, u"secret"_s));
    row("a macro up to the end", "machine host login me\nmacdef init\nmachine evil", one(u"me"_s, {}));
    row("two machines and a default", "machine a login x\nmachine b login y\ndefault login z password w",
        {{u"a"_s, {u"x"_s, {}}, {}}, {u"b"_s, {u"y"_s, {}}, {}}, {{}, {u"z"_s, u"w"_s}, {}}});
}

void TestNetrc::textsThatAreRead()
{
    QFETCH(QByteArray, text);
    QFETCH(Entries, entries);
    Clause error;
    const std::optional<Entries> read = Netrc::parse(text, &error);
    QVERIFY2(read, qPrintable(ClauseWords::of(error)));
    QCOMPARE(*read, entries);
}

void TestNetrc::textsThatAreRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("line");
    QTest::newRow("a page") << QByteArray("\n<html>") << u"line 2"_s;
    QTest::newRow("a word too many") << QByteArray("machine a login b\n\npassword c d\n") << u"line 3"_s;
    QTest::newRow("a machine without a name") << QByteArray("machine") << u"line 1"_s;
    QTest::newRow("a login without a machine") << QByteArray("login me") << u"line 1"_s;
    QTest::newRow("a quote that is not closed") << QByteArray("machine a\nlogin \"me\n") << u"line 2"_s;
}

void TestNetrc::textsThatAreRefused()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, line);
    Clause error;
    QVERIFY(!Netrc::parse(text, &error));
    QVERIFY2(ClauseWords::of(error).contains(line), qPrintable(ClauseWords::of(error)));
}

void TestNetrc::aComplaintDoesNotRepeatThePassword()
{
    Clause error;
    QVERIFY(!Netrc::parse("machine a login me password pass phrase-2", &error));
    QVERIFY2(!ClauseWords::of(error).contains(u"phrase-2"_s), qPrintable(ClauseWords::of(error)));
}

void TestNetrc::entriesForAHost_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<bool>("mayUseDefault");
    QTest::addColumn<QString>("wanted");
    QTest::addColumn<QString>("user");
    QTest::newRow("the first entry counts") << u"files.example"_s << true << QString() << u"ann"_s;
    QTest::newRow("the case of the host does not") << u"Files.Example"_s << true << QString() << u"ann"_s;
    QTest::newRow("the entry of a certain user") << u"files.example"_s << true << u"bob"_s << u"bob"_s;
    QTest::newRow("a host below is another host") << u"a.files.example"_s << false << QString() << QString();
    QTest::newRow("others get the default") << u"other.example"_s << true << QString() << u"anybody"_s;
    QTest::newRow("unless that may not serve") << u"other.example"_s << false << QString() << QString();
    QTest::newRow("an entry without a login is none") << u"nameless.example"_s << false << QString() << QString();
    QTest::newRow("nobody knows that user") << u"files.example"_s << true << u"eve"_s << QString();
    QTest::newRow("no host is not the default's name") << QString() << false << QString() << QString();
}

void TestNetrc::entriesForAHost()
{
    QFETCH(QString, host);
    QFETCH(bool, mayUseDefault);
    QFETCH(QString, wanted);
    QFETCH(QString, user);
    const std::optional<Netrc::Entry> entry = Netrc::entryFor(kEntries, host, mayUseDefault, wanted);
    QCOMPARE(entry ? entry->login.user : QString(), user);
}

void TestNetrc::permissionsThatAreWarnedOf_data()
{
    QTest::addColumn<QFileDevice::Permissions>("permissions");
    QTest::addColumn<bool>("warned");
    const QFileDevice::Permissions own = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    QTest::newRow("only mine") << own << false;
    QTest::newRow("the group can read") << (own | QFileDevice::ReadGroup) << true;
    QTest::newRow("others can read") << (own | QFileDevice::ReadOther) << true;
    QTest::newRow("others can write") << (own | QFileDevice::WriteOther) << true;
}

void TestNetrc::permissionsThatAreWarnedOf()
{
    QFETCH(QFileDevice::Permissions, permissions);
    QFETCH(bool, warned);
    QCOMPARE(Netrc::isExposed(permissions, kEntries), warned);
    QVERIFY(!Netrc::isExposed(permissions, {{u"a"_s, {u"anonymous"_s, {}}, {}}}));
}

QTEST_GUILESS_MAIN(TestNetrc)
#include "tst_netrc.moc"
