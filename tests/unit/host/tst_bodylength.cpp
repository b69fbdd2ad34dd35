// SPDX-License-Identifier: MIT
#include <host/policy/bodylength.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
using Head = BodyLength::Head;
constexpr qint64 kUnknown = -1;
}

Q_DECLARE_METATYPE(Head)

class TestBodyLength : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void announced_data();
    void announced();
    void aShortBodyIsComplainedOf();
};

void TestBodyLength::announced_data()
{
    QTest::addColumn<Head>("head");
    QTest::addColumn<qint64>("length");

    QTest::newRow("a whole answer") << Head{200, "5000", {}} << qint64(5000);
    QTest::newRow("a partial answer") << Head{206, " 5000 ", {}} << qint64(5000);
    QTest::newRow("an empty body") << Head{200, "0", {}} << qint64(0);
    QTest::newRow("no length") << Head{200, {}, {}} << kUnknown;
    QTest::newRow("in chunks") << Head{200, "5000", "chunked"} << kUnknown;
    QTest::newRow("two lengths in one") << Head{200, "5, 5", {}} << kUnknown;
    QTest::newRow("no number") << Head{200, "many", {}} << kUnknown;
    QTest::newRow("a sign") << Head{200, "+5", {}} << kUnknown;
    QTest::newRow("a number that fits nowhere") << Head{200, "99999999999999999999", {}} << kUnknown;
    QTest::newRow("a redirect's body is nobody's") << Head{302, "5000", {}} << kUnknown;
    QTest::newRow("an error's body is nobody's") << Head{404, "5000", {}} << kUnknown;
}

void TestBodyLength::announced()
{
    QFETCH(Head, head);
    QTEST(BodyLength::announced(head), "length");
}

void TestBodyLength::aShortBodyIsComplainedOf()
{
    const Head head{200, "5000", {}};
    QVERIFY(BodyLength::complaint(head, 5000).isEmpty());
    QCOMPARE(BodyLength::complaint(head, 4999), u"The connection was closed after 4999 of 5000 bytes."_s);
    QVERIFY(!BodyLength::complaint(head, 0).isEmpty());
    QVERIFY(BodyLength::complaint({200, {}, {}}, 7).isEmpty());
}

QTEST_GUILESS_MAIN(TestBodyLength)
#include "tst_bodylength.moc"
