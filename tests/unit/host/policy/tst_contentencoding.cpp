// SPDX-License-Identifier: MIT
#include <host/policy/contentencoding.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

QList<QString> head(const QString &status, const QStringList &fields)
{
    return QStringList{u"HTTP/1.1 "_s + status} + fields;
}

}

/// In which encoding an answer brings a file, and what is said of it.
class TestContentEncoding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anAnswerSaysItsEncoding_data();
    void anAnswerSaysItsEncoding();
    void otherAnswersBringNoFile_data();
    void otherAnswersBringNoFile();
    void aChangeNamesBoth();
    void aHeaderOfAnySpellingAsksForIt();
};

void TestContentEncoding::anAnswerSaysItsEncoding_data()
{
    QTest::addColumn<QList<QString>>("lines");
    QTest::addColumn<bool>("isPart");
    QTest::addColumn<QString>("encoding");
    QTest::newRow("none") << head(u"200 OK"_s, {u"Content-Length: 5"_s}) << false << QString();
    QTest::newRow("one") << head(u"200 OK"_s, {u"Content-Encoding: gzip"_s}) << false << u"gzip"_s;
    QTest::newRow("one, of a part") << head(u"206 Partial Content"_s, {u"Content-Encoding: gzip"_s}) << true
                                    << u"gzip"_s;
    QTest::newRow("spelled otherwise") << head(u"200 OK"_s, {u"content-encoding:GZip "_s}) << false << u"gzip"_s;
    QTest::newRow("an old name") << head(u"200 OK"_s, {u"Content-Encoding: x-gzip"_s}) << false << u"gzip"_s;
    QTest::newRow("another old name") << head(u"200 OK"_s, {u"Content-Encoding: x-compress"_s}) << false
                                      << u"compress"_s;
    QTest::newRow("several in a line") << head(u"200 OK"_s, {u"Content-Encoding: br,gzip"_s}) << false << u"br, gzip"_s;
    QTest::newRow("several in lines") << head(u"200 OK"_s, {u"Content-Encoding: br"_s, u"Content-Encoding: gzip"_s})
                                      << false << u"br, gzip"_s;
    QTest::newRow("a name for none") << head(u"200 OK"_s, {u"Content-Encoding: identity"_s}) << false << QString();
    QTest::newRow("one among names for none")
        << head(u"200 OK"_s, {u"Content-Encoding: identity, , br, none"_s}) << false << u"br"_s;
    QTest::newRow("another field that begins alike")
        << head(u"200 OK"_s, {u"Content-Encoding-Hint: gzip"_s, u"X: Content-Encoding: br"_s}) << false << QString();
    QTest::newRow("a protocol without a status") << head(u"-1 "_s, {}) << false << QString();
}

void TestContentEncoding::anAnswerSaysItsEncoding()
{
    QFETCH(QList<QString>, lines);
    const std::optional<ContentEncoding::Answer> answer = ContentEncoding::of(lines);
    QVERIFY(answer);
    QTEST(answer->isPart, "isPart");
    QTEST(answer->encoding, "encoding");
}

void TestContentEncoding::otherAnswersBringNoFile_data()
{
    QTest::addColumn<QString>("status");
    QTest::newRow("a redirect") << u"302 Found"_s;
    QTest::newRow("an error") << u"404 Not Found"_s;
    QTest::newRow("nothing to send") << u"204 No Content"_s;
}

void TestContentEncoding::otherAnswersBringNoFile()
{
    QFETCH(QString, status);
    QVERIFY(!ContentEncoding::of(head(status, {u"Content-Encoding: gzip"_s})));
}

void TestContentEncoding::aChangeNamesBoth()
{
    QCOMPARE(ContentEncoding::change({}, u"gzip"_s),
             u"what is there came plain, and it sends the rest compressed (gzip)"_s);
    QCOMPARE(ContentEncoding::change(u"exi"_s, {}), u"what is there came encoded (exi), and it sends the rest plain"_s);
}

void TestContentEncoding::aHeaderOfAnySpellingAsksForIt()
{
    QVERIFY(ContentEncoding::isAskedFor({u"X-Other"_s, u"accept-encoding"_s}));
    QVERIFY(!ContentEncoding::isAskedFor({u"Accept"_s}));
    QVERIFY(!ContentEncoding::isAskedFor({}));
}

QTEST_GUILESS_MAIN(TestContentEncoding)
#include "tst_contentencoding.moc"
