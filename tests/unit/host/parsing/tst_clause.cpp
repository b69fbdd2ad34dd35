// SPDX-License-Identifier: MIT
#include <host/parsing/clause.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

using Kind = Clause::Kind;

class TestClause : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyKindHasAKeyOfItsOwn();
    void whatOthersToldStaysAString();
    void jsonKeepsEverything();
    void aKindOfALaterVersionIsUnknown();
    void logsGetTheKeyAndTheValues();
};

void TestClause::everyKindHasAKeyOfItsOwn()
{
    QSet<QString> keys;
    for (int kind = 0; kind <= int(Clause::kLast); ++kind) {
        const QString key = Clause::keyOf(Kind(kind));
        QVERIFY2(!key.isEmpty() && !keys.contains(key), qPrintable(QString::number(kind)));
        keys.insert(key);
    }
}

void TestClause::whatOthersToldStaysAString()
{
    const Clause told(u"No such file or directory"_s);
    QCOMPARE(told.toJson(), QJsonValue(u"No such file or directory"_s));
    QCOMPARE(Clause::fromJson(told.toJson()), told);
    QVERIFY(Clause(QString()).isEmpty());
    QVERIFY(Clause::fromJson(Clause().toJson()).isEmpty());
}

void TestClause::jsonKeepsEverything()
{
    const Clause clause(Kind::NotAFileBeside, {u"/a \"%1\"\n"_s}, Kind::AFolder);
    const QByteArray text = QJsonDocument(clause.toJson().toObject()).toJson();
    QCOMPARE(Clause::fromJson(QJsonDocument::fromJson(text).object()), clause);
    const Clause around(Kind::CannotSetAside, {}, u"Permission denied"_s);
    QCOMPARE(Clause::fromJson(around.toJson()), around);
}

void TestClause::aKindOfALaterVersionIsUnknown()
{
    const QJsonObject object{{u"kind"_s, u"bitten-by-a-dog"_s}, {u"values"_s, QJsonArray{u"Rex"_s}}};
    QCOMPARE(Clause::fromJson(object), Clause(Kind::Unknown, {u"Rex"_s}));
}

void TestClause::logsGetTheKeyAndTheValues()
{
    QCOMPARE(Clause(u"Permission denied"_s).plain(), u"Permission denied"_s);
    QCOMPARE(Clause(Kind::NoSuchFile).plain(), u"no-such-file"_s);
    QCOMPARE(Clause(Kind::DownloadUnreadable, {u"7"_s}, u"disk I/O error"_s).plain(),
             u"download-unreadable(7, disk I/O error)"_s);
    QCOMPARE(Clause().plain(), QString());
}

QTEST_GUILESS_MAIN(TestClause)
#include "tst_clause.moc"
