// SPDX-License-Identifier: MIT
#include <cli/commandoptions.h>
#include <cli/settingstext.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const OptionRow *rowOf(const QString &name)
{
    return CommandOptions::table().find(name);
}

QString textOf(const QString &name, const QList<QVariant> &values)
{
    OptionValues given(CommandOptions::table());
    for (const QVariant &value : values)
        given.give(*rowOf(name), {value, u"/etc/my.conf:7"_s});
    return SettingsText::of(given, {rowOf(name)}).section(u'\n', 1);
}

}

class TestSettingsText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSettingIsShownWithItsDefaultAndItsOrigin_data();
    void aSettingIsShownWithItsDefaultAndItsOrigin();
    void whatIsNoSettingIsNotShown();
};

void TestSettingsText::aSettingIsShownWithItsDefaultAndItsOrigin_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QList<QVariant>>("values");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *title, const QString &name, const QList<QVariant> &values, const QString &text) {
        QTest::newRow(title) << name << values << text;
    };
    row("a default", u"tries"_s, {}, u"# tries = 5"_s);
    row("a flag that nobody set", u"netrc"_s, {}, u"# netrc = false"_s);
    row("what has no default", u"dir"_s, {}, u"# dir ="_s);
    row("a value", u"tries"_s, {qint64(3)}, u"# tries: from /etc/my.conf:7 (default: 5)\ntries = 3"_s);
    row("a rate", u"limit-rate"_s, {qint64(2097152)},
        u"# limit-rate: from /etc/my.conf:7 (default: 0)\nlimit-rate = 2M"_s);
    row("a value without a default", u"user-agent"_s, {u"Me 1"_s},
        u"# user-agent: from /etc/my.conf:7 (no default)\nuser-agent = Me 1"_s);
    row("blanks around a value", u"user-agent"_s, {u" Me"_s},
        u"# user-agent: from /etc/my.conf:7 (no default)\nuser-agent = \" Me\""_s);
    row("what would be a remark", u"user-agent"_s, {u"Me #1"_s},
        u"# user-agent: from /etc/my.conf:7 (no default)\nuser-agent = \"Me #1\""_s);
    row("quotes at its beginning", u"user-agent"_s, {u"\"Me\" 1"_s},
        u"# user-agent: from /etc/my.conf:7 (no default)\nuser-agent = '\"Me\" 1'"_s);
    row("a path that a file would read otherwise", u"dir"_s, {u"~/$x"_s},
        u"# dir: from /etc/my.conf:7 (no default)\ndir = ./~/$$x"_s);
    row("several", u"header"_s, {u"Accept-Language: de"_s, u"DNT: 1"_s},
        u"# header: from /etc/my.conf:7 (no default)\nheader = Accept-Language: de\n"
        u"# header: from /etc/my.conf:7 (no default)\nheader = DNT: 1"_s);
    row("a secret", u"header"_s, {u"Cookie: s3cr3t"_s},
        u"# header: from /etc/my.conf:7 (no default)\n# header = (Cookie; not shown as it is)"_s);
}

void TestSettingsText::aSettingIsShownWithItsDefaultAndItsOrigin()
{
    QFETCH(QString, name);
    QFETCH(QList<QVariant>, values);
    QTEST(textOf(name, values), "text");
}

void TestSettingsText::whatIsNoSettingIsNotShown()
{
    QCOMPARE(textOf(u"output"_s, {u"a"_s}), QString());
}

QTEST_GUILESS_MAIN(TestSettingsText)
#include "tst_settingstext.moc"
