// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/programrun.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 37;
constexpr qint64 kSize = 3000;
constexpr int kBadOption = 28;

}

/// Names of files, words and lists whose bytes are not UTF-8: none of them is ever taken for another one. The rows are
/// lines of a shell, in which $P is the program, $U the address of a file, and $E a letter of Latin 1.
class TestPlaitBytes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void whatCannotBeNamedIsRefused_data();
    void whatCannotBeNamedIsRefused();
    void aFolderThatCannotBeNamedIsNoneOfAllTheRest();
    void addressesKeepTheirBytes_data();
    void addressesKeepTheirBytes();
    void aListLosesTheLineAlone_data();
    void aListLosesTheLineAlone();

private:
    ProgramRun shell(const QString &line) const;
    QByteArray isWhole(const QString &name) const { return TestFiles::sha256OfFile(m_plait->path(name)); }

    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitBytes::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_server->setResponse("/file.bin", ScriptedResponse::file(kSeed, kSize));
    m_server->setResponse("/caf%E9.bin", ScriptedResponse::file(kSeed, kSize));
    m_plait = std::make_unique<PlaitSandbox>();
    m_plait->setVariable(u"P"_s, PlaitSandbox::program());
    m_plait->setVariable(u"U"_s, m_server->url(u"/file.bin"_s).toString());
    m_plait->setVariable(u"S"_s, m_server->url(u""_s).toString());
}

ProgramRun TestPlaitBytes::shell(const QString &line) const
{
    return ProgramRun::of(*m_plait, u"/bin/sh"_s, {u"-c"_s, u"E=$(printf '\\351'); "_s + line},
                          PlaitSandbox::kPatienceMs, {});
}

void TestPlaitBytes::whatCannotBeNamedIsRefused_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("named");
    const auto row = [](const char *name, const QString &line, const QByteArray &named) {
        QTest::newRow(name) << line << named;
    };
    row("a file", u"$P -o caf$E $U"_s, "--output \"caf\\xe9\" is not UTF-8");
    row("a file, behind a sign of equality", u"$P --output=caf$E $U"_s, "--output \"caf\\xe9\" is not UTF-8");
    row("a folder", u"$P -d d$E $U"_s, "--dir \"d\\xe9\" is not UTF-8");
    row("the folder that one stands in", u"mkdir d$E; cd d$E; $P $U"_s, "/d\\xe9\" is not UTF-8");
    row("a log in it", u"mkdir d$E; cd d$E; $P -d .. --log l $U"_s, "/d\\xe9\" is not UTF-8");
    row("a list in it", u"mkdir d$E; cd d$E; $P -d .. --list l $U"_s, "/d\\xe9\" is not UTF-8");
    row("the list", u"$P --list l$E $U"_s, "--list \"l\\xe9\" is not UTF-8");
    row("the settings", u"$P --config c$E $U"_s, "/c\\xe9\" is not UTF-8");
    row("a line of the settings", u"echo dir = d$E > ../c; $P --config ../c $U"_s, "c:1: the value of \"dir\" is not");
    row("a secret", u"$P --user anna:s$E $U"_s, "the value of --user is not UTF-8");
    row("the home folder", u"HOME=/tmp/h$E $P $U"_s, "HOME names the folder \"/tmp/h\\xe9\"");
    row("the folder for lists", u"XDG_DATA_HOME=/tmp/h$E $P $U"_s, "XDG_DATA_HOME names the folder \"/tmp/h\\xe9\"");
    row("a variable in the settings", u"echo 'dir = $D' > ../c; D=/tmp/d$E $P --config ../c $U"_s,
        "\"D\", whose value is not UTF-8");
}

void TestPlaitBytes::whatCannotBeNamedIsRefused()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, named);
    const ProgramRun run = shell(line);
    QCOMPARE(run.status, kBadOption);
    QVERIFY2(run.err.contains(named) && run.err.count('\n') == 1, run.err.constData());
    QVERIFY2(!run.err.contains("s\\xe9"), run.err.constData());
    QCOMPARE(m_server->requests().size(), 0);
    QCOMPARE(m_plait->files(), QStringList());
}

void TestPlaitBytes::aFolderThatCannotBeNamedIsNoneOfAllTheRest()
{
    const ProgramRun run = shell(u"mkdir d$E; cd d$E; $P -d \"$OLDPWD\" $U && $P list && $P --help"_s);
    QVERIFY2(run.status == 0, run.err.constData());
    QVERIFY2(run.out.contains("file.bin"), run.out.constData());
    QCOMPARE(isWhole(u"file.bin"_s), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitBytes::addressesKeepTheirBytes_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("a whole one") << u"$P -o x $S/caf$E.bin"_s;
    QTest::newRow("one without a scheme") << u"$P -o x ${S#http://}/caf$E.bin"_s;
    QTest::newRow("a mirror") << u"$P -o x --mirror $S/caf$E.bin $S/gone"_s;
    QTest::newRow("in a list") << u"echo $S/caf$E.bin > ../l; $P -i ../l -d x; mv x/* x.new; rmdir x; mv x.new x"_s;
    QTest::newRow("in a list that arrives") << u"echo $S/caf$E.bin | $P -i - -d x; mv x/* y; rmdir x; mv y x"_s;
    QTest::newRow("in a copied line") << u"$P import curl -o x $S/caf$E.bin"_s;
}

void TestPlaitBytes::addressesKeepTheirBytes()
{
    QFETCH(QString, line);
    const ProgramRun run = shell(line);
    QVERIFY2(run.status == 0, run.err.constData());
    QVERIFY(!m_server->requests("/caf%E9.bin").isEmpty());
    QCOMPARE(isWhole(u"x"_s), TestFiles::sha256OfContent(kSeed, kSize));
}

void TestPlaitBytes::aListLosesTheLineAlone_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("place");
    const QString list = u"printf '%s\\n out=caf%s\\n%s\\n out=b\\n# %s\\n' $U $E $U $E "_s;
    QTest::newRow("a file") << list + u"> ../l; $P -i ../l"_s << QByteArray("../l:2: ");
    QTest::newRow("what arrives") << list + u"| $P -i -"_s << QByteArray("standard input:2: ");
}

void TestPlaitBytes::aListLosesTheLineAlone()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, place);
    const ProgramRun run = shell(line);
    QCOMPARE(run.status, kBadOption);
    QVERIFY2(run.err.contains(place + "the value of \"out\" is not UTF-8"), run.err.constData());
    QCOMPARE(m_plait->files(), QStringList(u"b"_s));
    QCOMPARE(isWhole(u"b"_s), TestFiles::sha256OfContent(kSeed, kSize));
}

QTEST_GUILESS_MAIN(TestPlaitBytes)
#include "tst_plait_bytes.moc"
