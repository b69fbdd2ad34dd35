// SPDX-License-Identifier: MIT
#include <cli/jsonline.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

class TestJsonLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void valuesStayWhatTheyAre();
    void noByteCommandsATerminal();
    void aHalfOfACharacterIsNoByteOfItsOwn();
    void loginsAreBlanked();
};

void TestJsonLine::valuesStayWhatTheyAre()
{
    const QString hostile = u"a\u001b\u007f\u009b31m\u202egpj\u2028 naïve 🎈 \" \\u0041"_s;
    const QJsonObject object{
        {u"text"_s, hostile}, {u"list"_s, QJsonArray{hostile, u"b"_s, 7, true}}, {u"count"_s, 7}, {u"yes"_s, true}};
    const QString line = JsonLine::of(object);
    QVERIFY(line.endsWith(u'\n'));
    QCOMPARE(line.count(u'\n'), 1);
    QCOMPARE(QJsonDocument::fromJson(line.toUtf8()).object(), object);
}

void TestJsonLine::noByteCommandsATerminal()
{
    const QString line = JsonLine::of({{u"text"_s, u"\u001b\u007f\u009b\u202e\u2066\u200f\u061c\u2028"_s}});
    QCOMPARE(line, uR"({"text":"\u001b\u007f\u009b\u202e\u2066\u200f\u061c\u2028"})"_s + u'\n');
}

void TestJsonLine::aHalfOfACharacterIsNoByteOfItsOwn()
{
    const QByteArray line = JsonLine::of({{u"text"_s, u"a"_s + QChar(0xdc00) + u"b"_s}}).toUtf8();
    QVERIFY2(QJsonDocument::fromJson(line).isObject(), line.constData());
    QVERIFY2(line.contains("\"a") && line.contains("b\""), line.constData());
    QVERIFY2(QString::fromUtf8(line).toUtf8() == line, line.constData());
}

void TestJsonLine::loginsAreBlanked()
{
    const QString url = u"http://h/?x=http://u:p@i/"_s;
    const QString line = JsonLine::of({{u"url"_s, url}, {u"error"_s, QJsonArray{u"no \"%1\""_s.arg(url)}}});
    const QJsonObject object = QJsonDocument::fromJson(line.toUtf8()).object();
    QCOMPARE(object.value("url"_L1).toString(), u"http://h/?x=http://…@i/"_s);
    QCOMPARE(object.value("error"_L1).toArray().first().toString(), u"no \"http://h/?x=http://…@i/\""_s);
}

QTEST_GUILESS_MAIN(TestJsonLine)
#include "tst_jsonline.moc"
