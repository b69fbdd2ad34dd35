// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>
#include <host/options/optionvalues.h>

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

class TestOptionValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatNobodyChoseIsAsTheTableHasIt();
    void theLastOfAKindHoldsButRepeatsStandTogether();
    void itIsKnownWhereAValueCameFrom();
    void valuesTravelAsJson();
    void whatMayNotStandThereIsRefused_data();
    void whatMayNotStandThereIsRefused();
    void whatALaterProgramKnowsIsLeftOut();
    void onlyThoseOfAPlaceAreTaken();

private:
    static const OptionRow &row(const QString &name) { return *OptionTable::ofHost().find(name); }
};

void TestOptionValues::whatNobodyChoseIsAsTheTableHasIt()
{
    const OptionValues values;
    QVERIFY(values.isEmpty() && !values.has("tries"_L1));
    QCOMPARE(values.number("tries"_L1), 5);
    QCOMPARE(values.text("on-exists"_L1), u"rename"_s);
    QVERIFY(!values.flag("insecure"_L1));
    QVERIFY(values.texts("header"_L1).isEmpty());
}

void TestOptionValues::theLastOfAKindHoldsButRepeatsStandTogether()
{
    OptionValues values;
    values.give(row(u"tries"_s), {qint64(1), {}});
    values.give(row(u"tries"_s), {qint64(2), {}});
    values.give(row(u"header"_s), {u"A: 1"_s, {}});
    values.give(row(u"header"_s), {u"B: 2"_s, {}});
    QCOMPARE(values.number("tries"_L1), 2);
    QCOMPARE(values.texts("header"_L1), (QStringList{u"A: 1"_s, u"B: 2"_s}));
}

void TestOptionValues::itIsKnownWhereAValueCameFrom()
{
    OptionValues values;
    values.give(row(u"tries"_s), {qint64(1), u"a file"_s});
    QCOMPARE(values.given("tries"_L1), (QList<OptionValues::Given>{{qint64(1), u"a file"_s}}));
    QVERIFY(values.given("netrc"_L1).isEmpty());
}

void TestOptionValues::valuesTravelAsJson()
{
    OptionValues values;
    values.give(row(u"retry-wait"_s), {qint64(1500), {}});
    values.give(row(u"limit-rate"_s), {qint64(2048), {}});
    values.give(row(u"insecure"_s), {true, {}});
    values.give(row(u"header"_s), {u"A: 1"_s, {}});
    const QJsonObject json{
        {u"retry-wait"_s, 1.5}, {u"limit-rate"_s, 2048}, {u"insecure"_s, true}, {u"header"_s, QJsonArray{u"A: 1"_s}}};
    QCOMPARE(values.toJson(), json);
    Clause problem;
    const std::optional<OptionValues> again = OptionValues::checked(json, OptionRow::Service, &problem);
    QVERIFY2(again, qPrintable(ClauseWords::of(problem)));
    QVERIFY(*again == values);
    QCOMPARE(again->number("retry-wait"_L1), 1500);
}

void TestOptionValues::whatMayNotStandThereIsRefused_data()
{
    QTest::addColumn<QJsonObject>("json");
    QTest::addColumn<QString>("part");
    QTest::newRow("nothing that there is")
        << QJsonObject{{u"colour"_s, u"blue"_s}} << u"\"colour\" is no option here."_s;
    QTest::newRow("what only this machine may say")
        << QJsonObject{{u"netrc-file"_s, u"/etc/passwd"_s}} << u"\"netrc-file\" is no option here."_s;
    QTest::newRow("a file of this machine in place of an address")
        << QJsonObject{{u"checksum-file"_s, u"file:///etc/passwd"_s}} << u"\"checksum-file\" is no option here."_s;
    QTest::newRow("a value that is none") << QJsonObject{{u"tries"_s, -1}} << u"\"tries\" \"-1\""_s;
    QTest::newRow("a list of one value") << QJsonObject{{u"tries"_s, QJsonArray{1, 2}}} << u"\"tries\" is neither"_s;
    QTest::newRow("one bad header of two")
        << QJsonObject{{u"header"_s, QJsonArray{u"A: 1"_s, u"B"_s}}} << u"is no header"_s;
}

void TestOptionValues::whatMayNotStandThereIsRefused()
{
    QFETCH(QJsonObject, json);
    QFETCH(QString, part);
    Clause problem;
    QVERIFY(!OptionValues::checked(json, OptionRow::Service, &problem));
    QVERIFY2(ClauseWords::of(problem).contains(part), qPrintable(ClauseWords::of(problem)));
}

void TestOptionValues::whatALaterProgramKnowsIsLeftOut()
{
    const QJsonObject json{{u"colour"_s, u"blue"_s}, {u"on-changed"_s, u"wait"_s}, {u"tries"_s, 3}};
    QCOMPARE(OptionValues::fromJson(json).toJson(), (QJsonObject{{u"tries"_s, 3}}));
}

void TestOptionValues::onlyThoseOfAPlaceAreTaken()
{
    OptionValues values;
    values.give(row(u"limit-rate"_s), {qint64(2048), {}});
    values.give(row(u"tries"_s), {qint64(3), {}});
    const OptionValues some = values.at(OptionRow::Download);
    QCOMPARE(some.toJson(), (QJsonObject{{u"limit-rate"_s, 2048}}));
}

QTEST_GUILESS_MAIN(TestOptionValues)
#include "tst_optionvalues.moc"
