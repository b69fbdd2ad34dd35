// SPDX-License-Identifier: MIT
#include <cli/filewords.h>

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

using Doubt = Evidence::Doubt;

class TestFileWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachDoubtHasItsWords();
    void aWordIsNeededWhereNothingProvesIt();
    void howItCameIsSaid_data();
    void howItCameIsSaid();
};

void TestFileWords::eachDoubtHasItsWords()
{
    QVERIFY(FileWords::ofDoubt(Doubt::None).isEmpty());
    QSet<QString> all;
    for (int number = 1; number <= int(Doubt::FinishedEarly); ++number) {
        const QString words = FileWords::ofDoubt(Doubt(number));
        QVERIFY2(!words.isEmpty() && !all.contains(words), qPrintable(QString::number(number)));
        all.insert(words);
    }
}

void TestFileWords::aWordIsNeededWhereNothingProvesIt()
{
    QCOMPARE(FileWords::ofAssurance({Assurance::Unproven, Doubt::NoLength}),
             u"unproven: the server did not say how long the file is"_s);
    QCOMPARE(FileWords::ofAssurance({Assurance::Consistent, Doubt::None}), QString());
    QCOMPARE(FileWords::ofAssurance({}), QString());
}

void TestFileWords::howItCameIsSaid_data()
{
    QTest::addColumn<QString>("encoding");
    QTest::addColumn<QString>("words");
    QTest::newRow("none") << QString() << QString();
    QTest::newRow("a compression") << u"gzip"_s << u"the server sent it compressed (gzip), and it was saved as sent"_s;
    QTest::newRow("two") << u"br, gzip"_s << u"the server sent it compressed (br, gzip), and it was saved as sent"_s;
    QTest::newRow("another thing") << u"exi"_s << u"the server sent it encoded (exi), and it was saved as sent"_s;
    QTest::newRow("a name that is none") << QString(
        5000, u'x') << u"the server sent it encoded ("_s + QString(60, u'x') + u"), and it was saved as sent"_s;
}

void TestFileWords::howItCameIsSaid()
{
    QFETCH(QString, encoding);
    QTEST(FileWords::ofEncoding(encoding), "words");
}

QTEST_GUILESS_MAIN(TestFileWords)
#include "tst_filewords.moc"
