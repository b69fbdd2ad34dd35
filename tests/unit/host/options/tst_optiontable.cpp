// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>
#include <host/options/downloadoptions.h>
#include <host/options/optiontable.h>
#include <host/options/optionvalue.h>

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

using Row = OptionRow;

/// What holds for every row of the host's options.
class TestOptionTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyRowCanBeReadAndDescribed_data();
    void everyRowCanBeReadAndDescribed();
    void noNameAndNoLetterStandsTwice();
    void whatTheListKeepsOfADownloadComesBackFromIt_data();
    void whatTheListKeepsOfADownloadComesBackFromIt();
    void anOptionIsFoundUnderEitherName();
    void secretsAreNoSettings();
};

static void rowsAt(Row::Place place)
{
    QTest::addColumn<QString>("name");
    const QList<const Row *> rows = OptionTable::ofHost().at(place);
    for (const Row *row : rows)
        QTest::newRow(row->name) << QString::fromLatin1(row->name);
}

void TestOptionTable::everyRowCanBeReadAndDescribed_data()
{
    rowsAt(Row::CommandLine);
}

void TestOptionTable::everyRowCanBeReadAndDescribed()
{
    QFETCH(QString, name);
    const Row &row = *OptionTable::ofHost().find(name);
    QVERIFY(row.group && row.help && qstrlen(row.help) > 0);
    QCOMPARE(qstrlen(row.valueName) > 0, row.type != Row::Type::Flag);
    QCOMPARE(qstrlen(row.choices) > 0, row.type == Row::Type::Choice);
    QVERIFY(row.least <= row.most);
    QCOMPARE(row.type == Row::Type::Number || row.type == Row::Type::Seconds, row.most > 0);
    Clause problem;
    const QString fallback = QString::fromLatin1(row.fallback);
    if (!fallback.isEmpty() && fallback != "0"_L1)
        QVERIFY2(QLatin1StringView(row.help).contains("default: "_L1 + fallback), row.help);
    if (!fallback.isEmpty())
        QVERIFY2(OptionValue::fromText(row, fallback, name, &problem), qPrintable(ClauseWords::of(problem)));
}

void TestOptionTable::noNameAndNoLetterStandsTwice()
{
    QSet<QString> names;
    for (const Row *row : OptionTable::ofHost().rows()) {
        const QStringList letter = row->letter ? QStringList{QString(QLatin1Char(row->letter))} : QStringList();
        for (const QString &name : row->names() + letter) {
            QVERIFY2(!names.contains(name), qPrintable(name));
            names.insert(name);
        }
    }
}

void TestOptionTable::whatTheListKeepsOfADownloadComesBackFromIt_data()
{
    rowsAt(Row::Download);
}

/// Whoever shows a download's options shows what was chosen.
void TestOptionTable::whatTheListKeepsOfADownloadComesBackFromIt()
{
    QFETCH(QString, name);
    const Row &row = *OptionTable::ofHost().find(name);
    const QString text = row.type == Row::Type::Checksum ? u"md5=d41d8cd98f00b204e9800998ecf8427e"_s
        : row.type == Row::Type::Flag                    ? u"true"_s
        : name == "on-exists"_L1                         ? u"skip"_s
        : row.type == Row::Type::Choice                  ? u"restart"_s
                                                         : u"7"_s;
    Clause problem;
    const std::optional<QVariant> value = OptionValue::fromText(row, text, name, &problem);
    QVERIFY2(value, qPrintable(ClauseWords::of(problem)));
    DownloadOptions options;
    QVERIFY(row.field.put && row.field.shown);
    row.field.put(*value, options);
    QVERIFY(options != DownloadOptions());
    QCOMPARE(row.field.shown(options), *value);
}

void TestOptionTable::anOptionIsFoundUnderEitherName()
{
    const OptionTable &table = OptionTable::ofHost();
    QVERIFY(table.find(u"keep-secrets"_s));
    QCOMPARE(table.find(u"store-secrets"_s), table.find(u"keep-secrets"_s));
    QVERIFY(!table.find(u"x"_s));
}

/// The file is not made for passwords; a proxy's login and headers are the person's own risk.
void TestOptionTable::secretsAreNoSettings()
{
    for (const char *name : {"user", "post-data"}) {
        const Row *const row = OptionTable::ofHost().find(QString::fromLatin1(name));
        QVERIFY2(row && row->isSecret && !row->places.testFlag(Row::SettingsFile), name);
    }
}

QTEST_GUILESS_MAIN(TestOptionTable)
#include "tst_optiontable.moc"
