// SPDX-License-Identifier: MIT
#include <cli/commandoptions.h>
#include <cli/habits.h>

#include <QRegularExpression>
#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

using Kind = Habit::Kind;

/// The tables of what people are used to, row by row.
class TestHabits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyRowIsWhole_data();
    void everyRowIsWhole();
    void noProgramHasANameTwice();
    void whatIsWrittenInsteadIsThere();
    void theSameOfSeveralProgramsIsOneMeaning();
    void whatIsRareGivesWay();
    void whatWeGotInTheMeantimeIsNoAdviceAnyMore();
    void programsAreKnownByTheirNames();
};

namespace
{

QStringList namesOf(const Habit &habit)
{
    return QString::fromLatin1(habit.names).split(u' ');
}

QStringList toolsOf(const QList<Habits::Meaning> &meanings)
{
    QStringList tools;
    for (const Habits::Meaning &meaning : meanings)
        tools.append(meaning.tools.join(u' '));
    return tools;
}

}

void TestHabits::everyRowIsWhole_data()
{
    QTest::addColumn<Habit>("habit");
    for (const Habits::Tool *tool : Habits::tools()) {
        for (const Habit &habit : tool->rows)
            QTest::addRow("%s %s", qPrintable(tool->name), habit.names) << habit;
    }
}

void TestHabits::everyRowIsWhole()
{
    QFETCH(Habit, habit);
    static const QRegularExpression name(u"^(?:-[^- ]|-n[a-zA-Z]|--[a-z0-9][a-z0-9.-]+(?:=false|=0)?)$"_s);
    for (const QString &one : namesOf(habit))
        QVERIFY2(name.match(one).hasMatch(), qPrintable(one));
    const QString says = QString::fromLatin1(habit.says);
    if (habit.kind != Kind::Same)
        QVERIFY2(!says.isEmpty() && !says.endsWith(u'.') && !says.contains(u'|') && !says.contains(u'\n'), habit.says);
    QVERIFY(habit.kind != Kind::Part || habit.own);
    QVERIFY(!habit.isNeedless || (habit.kind == Kind::Advice && habit.value));
    QVERIFY(habit.kind != Kind::Refused || !habit.isMinor);
}

void TestHabits::noProgramHasANameTwice()
{
    for (const Habits::Tool *tool : Habits::tools()) {
        QSet<QString> names;
        for (const Habit &habit : tool->rows) {
            for (const QString &name : namesOf(habit)) {
                QVERIFY2(!names.contains(name), qPrintable(tool->name + u' ' + name));
                names.insert(name);
            }
        }
    }
}

void TestHabits::whatIsWrittenInsteadIsThere()
{
    for (const Habits::Tool *tool : Habits::tools()) {
        for (const Habit &habit : tool->rows) {
            if (habit.kind != Kind::Same || !habit.own)
                continue;
            const QString own = QString::fromLatin1(habit.own).section(u'=', 0, 0);
            const OptionRow *const row = CommandOptions::table().find(own);
            QVERIFY2(row || own == "version"_L1, habit.own);
            const bool givesValue = habit.value || QString::fromLatin1(habit.own).contains(u'=');
            QVERIFY2(!row || (row->type == OptionRow::Type::Flag) != givesValue, habit.names);
        }
    }
}

void TestHabits::theSameOfSeveralProgramsIsOneMeaning()
{
    QCOMPARE(toolsOf(Habits::meanings(u"-c"_s, Habits::tools())), (QStringList{u"curl"_s, u"wget aria2"_s}));
    QCOMPARE(toolsOf(Habits::meanings(u"-U"_s, Habits::tools())), (QStringList{u"curl"_s, u"wget aria2"_s}));
    QVERIFY(Habits::meanings(u"--nonsense"_s, Habits::tools()).isEmpty());
}

void TestHabits::whatIsRareGivesWay()
{
    QCOMPARE(toolsOf(Habits::meanings(u"-L"_s, Habits::tools())), QStringList{u"curl"_s});
    QCOMPARE(toolsOf(Habits::meanings(u"-L"_s, {&Habits::wget()})), QStringList{u"wget"_s});
}

void TestHabits::whatWeGotInTheMeantimeIsNoAdviceAnyMore()
{
    for (const Habits::Tool *tool : Habits::tools()) {
        for (const Habit &habit : tool->rows) {
            const bool isOurs = habit.own && CommandOptions::table().find(QString::fromLatin1(habit.own));
            QVERIFY2(!isOurs || Habits::current(habit).kind != Kind::Advice, habit.names);
            QVERIFY2(isOurs || Habits::current(habit).kind == habit.kind, habit.names);
        }
    }
    const Habit row = HabitRows::until("limit-rate", "--slowly", "RATE", "there is no such thing");
    QCOMPARE(Habits::advice(Habits::current(row)), u"write \"--limit-rate RATE\""_s);
}

void TestHabits::programsAreKnownByTheirNames()
{
    QCOMPARE(Habits::find(u"curl"_s), &Habits::curl());
    QCOMPARE(Habits::find(u"/usr/bin/wget"_s), &Habits::wget());
    QCOMPARE(Habits::find(u"aria2c"_s), &Habits::aria2());
    QCOMPARE(Habits::find(u"curl.exe"_s), &Habits::curl());
    QCOMPARE(Habits::find(u"curling"_s), nullptr);
}

QTEST_GUILESS_MAIN(TestHabits)
#include "tst_habits.moc"
