// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>
#include <host/options/optiontable.h>
#include <host/options/optionvalue.h>

#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;

class TestOptionValue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void textBecomesAValue_data();
    void textBecomesAValue();
    void whatIsNoValueIsSaid_data();
    void whatIsNoValueIsSaid();
    void aValueCanBeWrittenAndReadAgain_data();
    void aValueCanBeWrittenAndReadAgain();
    void jsonBecomesAValue_data();
    void jsonBecomesAValue();
    void whatIsNoValueInJsonIsSaid();
    void whereNothingIsSaidTheDefaultHolds();

private:
    static const OptionRow &row(const QString &name) { return *OptionTable::ofHost().find(name); }
};

void TestOptionValue::textBecomesAValue_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *title, const QString &name, const QString &text, const QVariant &value) {
        QTest::newRow(title) << name << text << value;
    };
    row("a number", u"tries"_s, u"7"_s, qint64(7));
    row("the least number", u"max-connections"_s, u"1"_s, qint64(1));
    row("the greatest number", u"max-connections"_s, u"20"_s, qint64(20));
    row("a rate in bytes", u"limit-rate"_s, u"1000"_s, qint64(1000));
    row("a rate in K", u"limit-rate"_s, u"1.5K"_s, qint64(1536));
    row("a rate in small letters", u"limit-rate"_s, u"2m"_s, qint64(2 * 1024 * 1024));
    row("a rate in MB", u"limit-rate"_s, u"1MB"_s, qint64(1024 * 1024));
    row("a rate in KiB", u"limit-rate"_s, u"1.5KiB"_s, qint64(1536));
    row("seconds with their unit", u"timeout"_s, u"10s"_s, qint64(10000));
    row("tries without an end", u"tries"_s, u"inf"_s, qint64(0));
    row("no limit", u"limit-rate"_s, u"0"_s, qint64(0));
    row("a rate of nothing", u"limit-rate"_s, QString(), qint64(0));
    row("a rate at some hours", u"limit-rate"_s, u"500K@8:00-18:00,2048K"_s, u"2M,500K@08:00-18:00"_s);
    row("hours", u"schedule"_s, u"1:00-7:00, Mon@22:00-23:00"_s, u"01:00-07:00,mon@22:00-23:00"_s);
    row("a wait of parts of a second", u"retry-wait"_s, u"0.25"_s, qint64(250));
    row("true", u"netrc"_s, u"true"_s, true);
    row("Yes", u"netrc"_s, u"Yes"_s, true);
    row("off", u"netrc"_s, u"off"_s, false);
    row("a word of several", u"on-changed"_s, u"restart"_s, u"restart"_s);
    row("a header", u"header"_s, u"X-A: b:c"_s, u"X-A: b:c"_s);
    row("a host for its own server", u"header"_s, u"Host: a"_s, u"Host: a"_s);
    row("an address", u"mirror"_s, u"http://m/x"_s, u"http://m/x"_s);
    row("addresses of a host", u"resolve"_s, u"a.com:443:192.0.2.1,[::1]"_s, u"a.com:443:192.0.2.1,[::1]"_s);
    row("an empty body", u"post-data"_s, QString(), QString());
    row("lines as a body", u"post-data"_s, u"a\nb"_s, u"a\nb"_s);
}

void TestOptionValue::textBecomesAValue()
{
    QFETCH(QString, name);
    QFETCH(QString, text);
    Clause problem;
    const std::optional<QVariant> value = OptionValue::fromText(row(name), text, name, &problem);
    QVERIFY2(value, qPrintable(ClauseWords::of(problem)));
    QVERIFY(problem.isEmpty());
    QTEST(*value, "value");
}

void TestOptionValue::whatIsNoValueIsSaid_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *title, const QString &name, const QString &text, const QString &problem) {
        QTest::newRow(title) << name << text << problem;
    };
    row("a number that is too small", u"max-connections"_s, u"0"_s,
        u"--max-connections \"0\" is no number from 1 to 20."_s);
    row("a number that is too great", u"max-connections"_s, u"21"_s,
        u"--max-connections \"21\" is no number from 1 to 20."_s);
    row("no number", u"tries"_s, u"many"_s, u"--tries \"many\" is no number from 0 to 1000000."_s);
    row("a part of one", u"tries"_s, u"1.5"_s, u"--tries \"1.5\" is no number from 0 to 1000000."_s);
    row("a rate of an unknown unit", u"limit-rate"_s, u"1X"_s,
        u"--limit-rate \"1X\" is no rate. Write bytes a second, as in 500K or 2.5M; 0 is no limit. For some hours of "
        u"the "
        u"day: 2M,500K@08:00-18:00."_s);
    row("a rate below nothing", u"limit-rate"_s, u"-1"_s,
        u"--limit-rate \"-1\" is no rate. Write bytes a second, as in 500K or 2.5M; 0 is no limit. For some hours of "
        u"the "
        u"day: 2M,500K@08:00-18:00."_s);
    row("no hours", u"schedule"_s, u"at night"_s,
        u"--schedule \"at night\" tells no hours of the day. Write them as in 01:00-07:00, 22:00-06:00 or "
        u"sat-sun@00:00-24:00; several with commas between them."_s);
    row("hours that no day has", u"schedule"_s, u"25:00-26:00"_s,
        u"--schedule \"25:00-26:00\" tells no hours of the day. Write them as in 01:00-07:00, 22:00-06:00 or "
        "sat-sun@00:00-24:00; several with commas between them."_s);
    row("a rate at hours that no day has", u"limit-rate"_s, u"500K@25:00-26:00"_s,
        u"--limit-rate \"500K@25:00-26:00\" is no rate. Write bytes a second, as in 500K or 2.5M; 0 is no limit. For "
        "some hours of the day: 2M,500K@08:00-18:00."_s);
    row("a secret in the place of a rate", u"limit-rate"_s, u"me:s3cr3t@h"_s,
        u"--limit-rate \"…@h\" is no rate. Write bytes a second, as in 500K or 2.5M; 0 is no limit. For some hours of "
        "the day: 2M,500K@08:00-18:00."_s);
    row("a number without an end", u"max-connections"_s, u"inf"_s,
        u"--max-connections \"inf\" is no number from 1 to 20."_s);
    row("a wait of days", u"retry-wait"_s, u"86400"_s,
        u"--retry-wait \"86400\" is no number of seconds from 0 to 3600."_s);
    row("perhaps", u"netrc"_s, u"perhaps"_s, u"--netrc \"perhaps\" is neither true nor false."_s);
    row("a word that is none of them", u"on-changed"_s, u"burn"_s,
        u"--on-changed \"burn\" is none of ask, restart, fail."_s);
    row("a header without a colon", u"header"_s, u"X s3cr3t"_s,
        u"--header \"…\" is no header. Write it as \"Name: value\"."_s);
    row("a header of two lines", u"header"_s, u"X: s3cr3t\nY: b"_s,
        u"--header \"…\" holds a line break. Give one line."_s);
    row("two lines as a name", u"user-agent"_s, u"a\nb"_s,
        u"--user-agent \"a b\" holds a line break. Give one line."_s);
    row("half an address", u"mirror"_s, u"m/x"_s,
        u"\"m/x\" is no URL. Write a whole one, as in \"https://example.com/file.zip\"."_s);
    row("certificates that are nowhere", u"ca-certificate"_s, u"/nowhere/ca.pem"_s,
        u"--ca-certificate \"/nowhere/ca.pem\" is not there. Give the path of a file that is."_s);
    row("a host without an address", u"resolve"_s, u"example.com:443"_s,
        u"--resolve \"example.com:443\" tells no address of a host. Write HOST:PORT:ADDRESS, as in "
        "\"example.com:443:192.0.2.1\"."_s);
    row("a host at a name", u"resolve"_s, u"example.com:443:other.com"_s,
        u"--resolve \"example.com:…\" tells no address of a host. Write HOST:PORT:ADDRESS, as in "
        "\"example.com:443:192.0.2.1\"."_s);
    row("a secret in the place of a number", u"tries"_s, u"me:s3cr3t"_s,
        u"--tries \"me:…\" is no number from 0 to 1000000."_s);
}

void TestOptionValue::whatIsNoValueIsSaid()
{
    QFETCH(QString, name);
    QFETCH(QString, text);
    Clause problem;
    QVERIFY(!OptionValue::fromText(row(name), text, u"--"_s + name, &problem));
    QTEST(ClauseWords::of(problem), "problem");
}

void TestOptionValue::aValueCanBeWrittenAndReadAgain_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    for (const auto &[name, text] : {std::pair{u"limit-rate"_s, u"1536"_s},
                                     {u"limit-rate"_s, u"500K"_s},
                                     {u"limit-rate"_s, u"3M"_s},
                                     {u"limit-rate"_s, u"2G"_s},
                                     {u"limit-rate"_s, u"0"_s},
                                     {u"limit-rate"_s, u"2M,500K@mon-fri@08:00-18:00"_s},
                                     {u"schedule"_s, u"01:00-07:00,sat-sun@00:00-24:00"_s},
                                     {u"retry-wait"_s, u"0.25"_s},
                                     {u"netrc"_s, u"false"_s},
                                     {u"tries"_s, u"1000000"_s},
                                     {u"on-exists"_s, u"fail"_s},
                                     {u"header"_s, u"X-A: b"_s}})
        QTest::newRow(qPrintable(name + u' ' + text)) << name << text;
}

void TestOptionValue::aValueCanBeWrittenAndReadAgain()
{
    QFETCH(QString, name);
    QFETCH(QString, text);
    Clause problem;
    const std::optional<QVariant> value = OptionValue::fromText(row(name), text, name, &problem);
    QVERIFY2(value, qPrintable(ClauseWords::of(problem)));
    QCOMPARE(OptionValue::toText(row(name), *value), text);
    QCOMPARE(OptionValue::fromJson(row(name), OptionValue::toJson(row(name), *value), &problem), value);
}

void TestOptionValue::jsonBecomesAValue_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QJsonValue>("json");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("a number") << u"tries"_s << QJsonValue(1000000) << QVariant(qint64(1000000));
    QTest::newRow("a number as a text") << u"tries"_s << QJsonValue(u"7"_s) << QVariant(qint64(7));
    QTest::newRow("a great rate") << u"limit-rate"_s << QJsonValue(1e11) << QVariant(qint64(100000000000));
    QTest::newRow("a rate as people write it") << u"limit-rate"_s << QJsonValue(u"2K"_s) << QVariant(qint64(2048));
    QTest::newRow("seconds") << u"retry-wait"_s << QJsonValue(0.5) << QVariant(qint64(500));
    QTest::newRow("a truth") << u"insecure"_s << QJsonValue(true) << QVariant(true);
}

void TestOptionValue::jsonBecomesAValue()
{
    QFETCH(QString, name);
    QFETCH(QJsonValue, json);
    Clause problem;
    const std::optional<QVariant> value = OptionValue::fromJson(row(name), json, &problem);
    QVERIFY2(value, qPrintable(ClauseWords::of(problem)));
    QTEST(*value, "value");
}

void TestOptionValue::whatIsNoValueInJsonIsSaid()
{
    Clause problem;
    QVERIFY(!OptionValue::fromJson(row(u"tries"_s), -1, &problem));
    QCOMPARE(ClauseWords::of(problem), u"\"tries\" \"-1\" is no number from 0 to 1000000."_s);
    QVERIFY(!OptionValue::fromJson(row(u"tries"_s), QJsonObject(), &problem));
    QCOMPARE(ClauseWords::of(problem), u"\"tries\" is neither a text nor a number nor a truth."_s);
}

void TestOptionValue::whereNothingIsSaidTheDefaultHolds()
{
    QCOMPARE(OptionValue::fallback(row(u"max-connections"_s)), qint64(8));
    QCOMPARE(OptionValue::fallback(row(u"retry-wait"_s)), qint64(1000));
    QCOMPARE(OptionValue::fallback(row(u"on-changed"_s)), u"ask"_s);
    QCOMPARE(OptionValue::fallback(row(u"netrc"_s)), false);
    QVERIFY(OptionValue::fallback(row(u"proxy"_s)).toString().isEmpty());
}

QTEST_GUILESS_MAIN(TestOptionValue)
#include "tst_optionvalue.moc"
