// SPDX-License-Identifier: MIT
#include <host/storage/sqlcells.h>
#include <host/storage/sqldatabase.h>

#include <QTest>
#include <QTimeZone>

#include <limits>

using namespace Qt::StringLiterals;

using Kind = SqlValue::Kind;

/// Each cell goes into a table and comes out of it again.
class TestSqlCells : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void bytesStandAsTextWhereTheyAreSome_data();
    void bytesStandAsTextWhereTheyAreSome();
    void contentIsNeverText();
    void textIsNeverNothing();
    void aTimeIsThatMoment_data();
    void aTimeIsThatMoment();
    void anUrlIsTheSame_data();
    void anUrlIsTheSame();
    void allFlagsComeBack_data();
    void allFlagsComeBack();

private:
    SqlValue stored(const SqlValue &cell);

    SqlDatabase m_database;
};

void TestSqlCells::initTestCase()
{
    QVERIFY(m_database.open(SqlDatabase::inMemory()));
    QVERIFY(m_database.run(u"CREATE TABLE cells (cell)"_s));
}

SqlValue TestSqlCells::stored(const SqlValue &cell)
{
    m_database.run(u"DELETE FROM cells"_s);
    m_database.run(u"INSERT INTO cells VALUES (?)"_s, {cell});
    SqlStatement row = m_database.run(u"SELECT cell FROM cells"_s);
    return row.next() ? row.value(0) : SqlValue(u"no row"_s);
}

void TestSqlCells::bytesStandAsTextWhereTheyAreSome_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<Kind>("kind");
    QTest::newRow("none") << QByteArray() << Kind::Nothing;
    QTest::newRow("letters") << QByteArray("\"5e1-na\xc3\xafve\"") << Kind::Text;
    QTest::newRow("Latin letters that are no UTF-8") << QByteArray("na\xefve") << Kind::Bytes;
    QTest::newRow("a letter cut in two") << QByteArray("na\xc3") << Kind::Bytes;
    QTest::newRow("a zero, at which a shell would stop") << QByteArray("a\0b", 3) << Kind::Bytes;
    QTest::newRow("a mark of the order of bytes") << QByteArray("\xef\xbb\xbf"
                                                                "a")
                                                  << Kind::Bytes;
    QTest::newRow("letters written in more bytes than they need") << QByteArray("\xc0\xaf") << Kind::Bytes;
    QTest::newRow("line breaks") << QByteArray("a\r\nb") << Kind::Text;
}

void TestSqlCells::bytesStandAsTextWhereTheyAreSome()
{
    QFETCH(QByteArray, bytes);
    const SqlValue cell = stored(SqlCells::fromBytes(bytes));
    QTEST(cell.kind(), "kind");
    QCOMPARE(SqlCells::toBytes(cell), bytes);
}

void TestSqlCells::contentIsNeverText()
{
    const SqlValue cell = stored(SqlCells::fromContent("letters"));
    QCOMPARE(cell.kind(), Kind::Bytes);
    QCOMPARE(SqlCells::toBytes(cell), QByteArray("letters"));
    QVERIFY(stored(SqlCells::fromContent({})).isNull());
}

void TestSqlCells::textIsNeverNothing()
{
    QCOMPARE(stored(SqlCells::fromText(QString())).kind(), Kind::Text);
    QCOMPARE(SqlCells::toText(stored(SqlCells::fromText(u"naïve 文 🎈"_s))), u"naïve 文 🎈"_s);
}

void TestSqlCells::aTimeIsThatMoment_data()
{
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<QString>("text");
    const QDateTime utc(QDate(2024, 2, 29), QTime(23, 59, 58, 7), Qt::UTC);
    QTest::newRow("in UTC") << utc << u"2024-02-29T23:59:58.007Z"_s;
    QTest::newRow("elsewhere") << utc.toOffsetFromUtc(5400) << u"2024-02-29T23:59:58.007Z"_s;
    QTest::newRow("before there were such clocks")
        << QDateTime(QDate(1950, 1, 1), QTime(0, 0), Qt::UTC) << u"1950-01-01T00:00:00.000Z"_s;
    QTest::newRow("none") << QDateTime() << QString();
}

void TestSqlCells::aTimeIsThatMoment()
{
    QFETCH(QDateTime, time);
    const SqlValue cell = stored(SqlCells::fromTime(time));
    QTEST(cell.toText(), "text");
    QCOMPARE(SqlCells::toTime(cell), time);
}

void TestSqlCells::anUrlIsTheSame_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QByteArray &encoded, const QString &text) {
        QTest::newRow(name) << QUrl::fromEncoded(encoded) << text;
    };
    row("none", {}, {});
    row("letters beyond ASCII", "http://h/na%C3%AFve%20file", u"http://h/na%C3%AFve%20file"_s);
    row("a slash that is none of the path's", "http://h/a%2Fb?c=%26", u"http://h/a%2Fb?c=%26"_s);
    row("bytes that are no UTF-8", "http://h/%E4", u"http://h/%E4"_s);
    row("a percent sign", "http://h/100%25", u"http://h/100%25"_s);
    row("a place in it", "http://h/a#b", u"http://h/a#b"_s);
}

void TestSqlCells::anUrlIsTheSame()
{
    QFETCH(QUrl, url);
    const SqlValue cell = stored(SqlCells::fromUrl(url));
    QTEST(cell.toText(), "text");
    QCOMPARE(SqlCells::toUrl(cell), url);
}

void TestSqlCells::allFlagsComeBack_data()
{
    QTest::addColumn<quint64>("flags");
    QTest::newRow("none") << quint64(0);
    QTest::newRow("the highest, which is a sign") << (quint64(1) << 63);
    QTest::newRow("all") << std::numeric_limits<quint64>::max();
}

void TestSqlCells::allFlagsComeBack()
{
    QFETCH(quint64, flags);
    QCOMPARE(SqlCells::toFlags(stored(SqlCells::fromFlags(flags))), flags);
}

QTEST_GUILESS_MAIN(TestSqlCells)
#include "tst_sqlcells.moc"
