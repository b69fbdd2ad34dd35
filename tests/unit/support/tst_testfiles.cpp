// SPDX-License-Identifier: MIT
#include <tests/support/testfiles.h>

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestTestFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyPieceIsTheSameAsThatPartOfTheWhole_data();
    void everyPieceIsTheSameAsThatPartOfTheWhole();
    void seedsGiveDifferentContent();
    void aWrittenFileHasTheContentsHash();
    void aFileThatIsNotThereHasNoHash();
};

void TestTestFiles::everyPieceIsTheSameAsThatPartOfTheWhole_data()
{
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("length");
    QTest::newRow("nothing") << qint64(7) << qint64(0);
    QTest::newRow("from the start") << qint64(0) << qint64(100);
    QTest::newRow("within one word") << qint64(9) << qint64(3);
    QTest::newRow("across words, from the middle of one to the middle of another") << qint64(13) << qint64(50);
    QTest::newRow("whole words") << qint64(16) << qint64(64);
}

void TestTestFiles::everyPieceIsTheSameAsThatPartOfTheWhole()
{
    QFETCH(qint64, offset);
    QFETCH(qint64, length);
    const QByteArray whole = TestFiles::content(3, 0, 1000);
    QCOMPARE(whole.size(), 1000);
    QCOMPARE(TestFiles::content(3, offset, length), whole.mid(offset, length));
}

void TestTestFiles::seedsGiveDifferentContent()
{
    QVERIFY(TestFiles::content(1, 0, 64) != TestFiles::content(2, 0, 64));
}

void TestTestFiles::aWrittenFileHasTheContentsHash()
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(u"file"_s);
    constexpr qint64 kSize = 5 * 1024 * 1024 + 3;
    QVERIFY(TestFiles::writeFile(path, 5, kSize));
    QCOMPARE(TestFiles::readFile(path).size(), kSize);
    QCOMPARE(TestFiles::sha256OfFile(path), TestFiles::sha256OfContent(5, kSize));
    QCOMPARE(TestFiles::sha256OfFile(path), TestFiles::sha256(TestFiles::content(5, 0, kSize)));
}

void TestTestFiles::aFileThatIsNotThereHasNoHash()
{
    QVERIFY(TestFiles::sha256OfFile(u"/nonexistent/file"_s).isEmpty());
}

QTEST_GUILESS_MAIN(TestTestFiles)
#include "tst_testfiles.moc"
