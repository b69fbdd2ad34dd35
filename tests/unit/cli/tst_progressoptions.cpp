// SPDX-License-Identifier: MIT
#include <cli/progressoptions.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kTerminal = 2;
constexpr int kNoTerminal = -1;

QProcessEnvironment environmentOf(const QStringList &assignments)
{
    QProcessEnvironment environment;
    for (const QString &assignment : assignments)
        environment.insert(assignment.section(u'=', 0, 0), assignment.section(u'=', 1));
    return environment;
}

}

Q_DECLARE_METATYPE(ProgressMode)

class TestProgressOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mode_data();
    void mode();
    void look_data();
    void look();
};

void TestProgressOptions::mode_data()
{
    QTest::addColumn<ProgressMode>("asked");
    QTest::addColumn<int>("terminal");
    QTest::addColumn<QString>("term");
    QTest::addColumn<ProgressMode>("mode");

    const QString xterm = u"xterm"_s;
    const QString dumb = u"dumb"_s;
    QTest::newRow("a terminal gets live lines") << ProgressMode::Auto << kTerminal << xterm << ProgressMode::Bar;
    QTest::newRow("a file gets plain lines") << ProgressMode::Auto << kNoTerminal << xterm << ProgressMode::Line;
    QTest::newRow("a dumb terminal gets plain lines") << ProgressMode::Auto << kTerminal << dumb << ProgressMode::Line;
    QTest::newRow("live lines that were asked for") << ProgressMode::Bar << kTerminal << xterm << ProgressMode::Bar;
    QTest::newRow("no live lines in a file") << ProgressMode::Bar << kNoTerminal << xterm << ProgressMode::Line;
    QTest::newRow("nor on a dumb terminal") << ProgressMode::Bar << kTerminal << dumb << ProgressMode::Line;
    QTest::newRow("plain lines on a terminal") << ProgressMode::Line << kTerminal << xterm << ProgressMode::Line;
    QTest::newRow("none on a terminal") << ProgressMode::None << kTerminal << xterm << ProgressMode::None;
    QTest::newRow("none in a file") << ProgressMode::None << kNoTerminal << xterm << ProgressMode::None;
}

void TestProgressOptions::mode()
{
    QFETCH(ProgressMode, asked);
    QFETCH(int, terminal);
    QFETCH(QString, term);
    const QProcessEnvironment environment = environmentOf({u"TERM="_s + term});
    QTEST(ProgressOptions::of(asked, terminal, false, environment).mode, "mode");
}

void TestProgressOptions::look_data()
{
    QTest::addColumn<QStringList>("environment");
    QTest::addColumn<bool>("unicode");
    QTest::addColumn<bool>("colour");

    QTest::newRow("nothing is set") << QStringList() << false << true;
    QTest::newRow("a UTF-8 language") << QStringList{u"LANG=de_DE.UTF-8"_s} << true << true;
    QTest::newRow("UTF-8, written otherwise") << QStringList{u"LANG=C.utf8"_s} << true << true;
    QTest::newRow("another encoding") << QStringList{u"LANG=de_DE.ISO-8859-1"_s} << false << true;
    QTest::newRow("characters go before the language")
        << QStringList{u"LANG=C"_s, u"LC_CTYPE=en_GB.UTF-8"_s} << true << true;
    QTest::newRow("everything goes before characters")
        << QStringList{u"LC_CTYPE=en_GB.UTF-8"_s, u"LC_ALL=C"_s} << false << true;
    QTest::newRow("what is empty is not set") << QStringList{u"LC_ALL="_s, u"LANG=C.UTF-8"_s} << true << true;
    QTest::newRow("no colour") << QStringList{u"NO_COLOR=0"_s} << false << false;
    QTest::newRow("an empty NO_COLOR says nothing") << QStringList{u"NO_COLOR="_s} << false << true;
}

void TestProgressOptions::look()
{
    QFETCH(QStringList, environment);
    const ProgressOptions options =
        ProgressOptions::of(ProgressMode::Auto, kTerminal, false, environmentOf(environment));
    QTEST(options.look.unicode, "unicode");
    QTEST(options.look.colour, "colour");
}

QTEST_GUILESS_MAIN(TestProgressOptions)
#include "tst_progressoptions.moc"
