// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Kind = Clause::Kind;

class TestClauseWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyKindHasWords();
    void wordsAreTheirsOrOurs_data();
    void wordsAreTheirsOrOurs();
};

void TestClauseWords::everyKindHasWords()
{
    for (int kind = 1; kind <= int(Clause::kLast); ++kind) {
        const Clause clause(Kind(kind), {u"a"_s, u"b"_s, u"c"_s, u"d"_s}, u"e"_s);
        const QString words = ClauseWords::of(clause);
        QVERIFY2(!words.isEmpty() && !words.contains(u'%'), qPrintable(Clause::keyOf(clause.kind)));
    }
}

void TestClauseWords::wordsAreTheirsOrOurs_data()
{
    QTest::addColumn<Clause>("clause");
    QTest::addColumn<QString>("words");
    QTest::newRow("nothing") << Clause() << QString();
    QTest::newRow("what others told") << Clause(u"Permission denied"_s) << u"Permission denied"_s;
    QTest::newRow("a value") << Clause(Kind::NoColumnOfDownloads, {u"url"_s})
                             << u"its table of downloads has no column \"url\""_s;
    QTest::newRow("a value with a mark in it")
        << Clause(Kind::ObjectMissing, {u"table"_s, u"%1%0"_s}) << u"the table \"%1%0\" is missing"_s;
    QTest::newRow("a clause within") << Clause(Kind::NotAFile, {}, Kind::ANamedPipe)
                                     << u"it is a named pipe, not a file"_s;
    QTest::newRow("a clause within that others told")
        << Clause(Kind::Damaged, {}, u"file is not a database"_s) << u"it is damaged: file is not a database"_s;
    QTest::newRow("none within") << Clause(Kind::Damaged) << u"it is damaged"_s;
    QTest::newRow("a sentence about a value")
        << Clause(Kind::ValueOf, {u"--checksum"_s}, {Kind::ChecksumOfOtherLength, {u"md5=00"_s, u"md5"_s, u"32"_s}})
        << u"--checksum \"md5=00\" is no md5 checksum: that has 32 hexadecimal digits."_s;
}

void TestClauseWords::wordsAreTheirsOrOurs()
{
    QFETCH(Clause, clause);
    QTEST(ClauseWords::of(clause), "words");
}

QTEST_GUILESS_MAIN(TestClauseWords)
#include "tst_clausewords.moc"
