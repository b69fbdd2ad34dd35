// SPDX-License-Identifier: MIT
#include <cli/pathexpansion.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestPathExpansion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatStandsForSomethingIsReplaced_data();
    void whatStandsForSomethingIsReplaced();
    void behindAShellTheHomeFolderAloneIsMeant_data();
    void behindAShellTheHomeFolderAloneIsMeant();
    void whatMeansNothingIsSaid_data();
    void whatMeansNothingIsSaid();
    void aLiteralPathComesBackAsItWas_data();
    void aLiteralPathComesBackAsItWas();

private:
    static QProcessEnvironment environment()
    {
        QProcessEnvironment environment;
        environment.insert(u"HOME"_s, u"/home/anna"_s);
        environment.insert(u"DISK_2"_s, u"/mnt/big $HOME"_s);
        environment.insert(u"EMPTY"_s, QString());
        return environment;
    }
};

void TestPathExpansion::whatStandsForSomethingIsReplaced_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expanded");
    QTest::newRow("a plain path") << u"/srv/a b"_s << u"/srv/a b"_s;
    QTest::newRow("nothing") << QString() << QString();
    QTest::newRow("the home folder") << u"~"_s << u"/home/anna"_s;
    QTest::newRow("something in it") << u"~/Down~loads"_s << u"/home/anna/Down~loads"_s;
    QTest::newRow("a tilde elsewhere") << u"/srv/~/x"_s << u"/srv/~/x"_s;
    QTest::newRow("a variable") << u"$HOME/x"_s << u"/home/anna/x"_s;
    QTest::newRow("a variable in braces") << u"${HOME}x"_s << u"/home/annax"_s;
    QTest::newRow("a variable in the middle") << u"/a/${HOME}/b$HOME"_s << u"/a//home/anna/b/home/anna"_s;
    QTest::newRow("a value is not looked into") << u"$DISK_2/x"_s << u"/mnt/big $HOME/x"_s;
    QTest::newRow("a dollar sign") << u"/srv/$$HOME"_s << u"/srv/$HOME"_s;
}

void TestPathExpansion::whatStandsForSomethingIsReplaced()
{
    QFETCH(QString, path);
    QString problem;
    const std::optional<QString> expanded = PathExpansion::expanded(path, environment(), &problem);
    QVERIFY2(expanded, qPrintable(problem));
    QTEST(*expanded, "expanded");
}

void TestPathExpansion::behindAShellTheHomeFolderAloneIsMeant_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("meant");
    QTest::newRow("the home folder") << u"~"_s << u"/home/anna"_s;
    QTest::newRow("something in it") << u"~/a/~"_s << u"/home/anna/a/~"_s;
    QTest::newRow("a file of that name") << u"./~"_s << u"./~"_s;
    QTest::newRow("a name that begins so") << u"~old.txt"_s << u"~old.txt"_s;
    QTest::newRow("what the shell has left of a dollar sign") << u"$HOME/x"_s << u"$HOME/x"_s;
    QTest::newRow("nothing") << QString() << QString();
}

void TestPathExpansion::behindAShellTheHomeFolderAloneIsMeant()
{
    QFETCH(QString, path);
    QString problem;
    const std::optional<QString> meant = PathExpansion::inHome(path, environment(), &problem);
    QVERIFY2(meant, qPrintable(problem));
    QTEST(*meant, "meant");
    const bool isOfHome = *meant != path;
    QCOMPARE(PathExpansion::inHome(path, {}, &problem).has_value(), !isOfHome);
    QCOMPARE(problem.contains("\"HOME\", which is not set"_L1), isOfHome);
}

void TestPathExpansion::whatMeansNothingIsSaid_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("part");
    QTest::newRow("a variable that is not set") << u"$NOWHERE/x"_s << u"\"NOWHERE\", which is not set"_s;
    QTest::newRow("an empty variable") << u"$EMPTY/x"_s << u"\"EMPTY\", which is not set"_s;
    QTest::newRow("the first of two") << u"$NOWHERE/$NEITHER"_s << u"\"NOWHERE\""_s;
    QTest::newRow("a sign without a name") << u"/a$/b"_s << u"Write \"$$\" for a dollar sign."_s;
    QTest::newRow("a sign at the end") << u"/a$"_s << u"Write \"$$\""_s;
    QTest::newRow("braces that do not end") << u"${HOME/x"_s << u"Write \"$$\""_s;
    QTest::newRow("more than a name in braces") << u"${HOME:-/x}"_s << u"Write \"$$\""_s;
    QTest::newRow("somebody else's home") << u"~bert/x"_s << u"another person's home folder"_s;
}

void TestPathExpansion::whatMeansNothingIsSaid()
{
    QFETCH(QString, path);
    QFETCH(QString, part);
    QString problem;
    QVERIFY(!PathExpansion::expanded(path, environment(), &problem));
    QVERIFY2(problem.contains(part) && problem.endsWith(u'.'), qPrintable(problem));
}

void TestPathExpansion::aLiteralPathComesBackAsItWas_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("again");
    QTest::newRow("a plain path") << u"/srv/a b"_s << u"/srv/a b"_s;
    QTest::newRow("dollar signs") << u"/srv/$HOME$"_s << u"/srv/$HOME$"_s;
    QTest::newRow("a folder with a tilde's name") << u"~"_s << u"./~"_s;
}

void TestPathExpansion::aLiteralPathComesBackAsItWas()
{
    QFETCH(QString, path);
    QString problem;
    const auto again = PathExpansion::expanded(PathExpansion::literal(path), environment(), &problem);
    QVERIFY2(again, qPrintable(problem));
    QTEST(*again, "again");
}

QTEST_GUILESS_MAIN(TestPathExpansion)
#include "tst_pathexpansion.moc"
