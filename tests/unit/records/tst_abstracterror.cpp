// SPDX-License-Identifier: MIT
#include <inet/qt/download/records/abstracterror.h>

#include <QTest>
#include <QTextStream>
#include <QVariant>

using namespace Qt::StringLiterals;

class TestAbstractError : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noErrorByDefault();
    void fieldsInTheirOrder();
    void onlyCodeZeroIsNoError_data();
    void onlyCodeZeroIsNoError();
    void logText_data();
    void logText();
    void streamWritesTheLogText();
    void deliberateStop();
    void sameFailure_data();
    void sameFailure();
    void equalityCountsEveryField();
    void travelsInAVariant();
    void sourceText();
    void sourceOfTheCallingPlace();
};

void TestAbstractError::noErrorByDefault()
{
    const AbstractError error;
    QCOMPARE(error.code, 0);
    QVERIFY(error.category.empty() && error.source.empty() && error.description.empty());
}

void TestAbstractError::fieldsInTheirOrder()
{
    const AbstractError error(404, "HttpError", "file.cpp,626", "gone");
    QCOMPARE(error.code, 404);
    QCOMPARE(error.category, std::string("HttpError"));
    QCOMPARE(error.source, std::string("file.cpp,626"));
    QCOMPARE(error.description, std::string("gone"));
}

void TestAbstractError::onlyCodeZeroIsNoError_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("expected");

    QTest::newRow("code 0 is no error") << 0 << false;
    QTest::newRow("a positive code is an error") << 1 << true;
    QTest::newRow("a negative code is an error") << -1 << true;
}

void TestAbstractError::onlyCodeZeroIsNoError()
{
    QFETCH(int, code);
    QTEST(bool(AbstractError(code, "GenericError", "", "")), "expected");
}

void TestAbstractError::logText_data()
{
    QTest::addColumn<AbstractError>("error");
    QTest::addColumn<QString>("expected");

    QTest::newRow("all four parts stand in their order")
        << AbstractError(2, "AbstractDownloadError", "section.cpp,745", "changed")
        << u"{ERROR: |CODE|: 2, |CATEGORY|: AbstractDownloadError, |SOURCE|: section.cpp,745, |DESCRIPTION|: changed}"_s;
    QTest::newRow("no error has the same form")
        << AbstractError() << u"{ERROR: |CODE|: 0, |CATEGORY|: , |SOURCE|: , |DESCRIPTION|: }"_s;
    QTest::newRow("a negative code keeps its sign and a large one has no separators")
        << AbstractError(-1234567, "C", "S", "D")
        << u"{ERROR: |CODE|: -1234567, |CATEGORY|: C, |SOURCE|: S, |DESCRIPTION|: D}"_s;
    QTest::newRow("text beyond ASCII is read as UTF-8")
        << AbstractError(5, "QtFileError", "open", "\xc3\xa9t\xc3\xa9 \xe2\x82\xac")
        << u"{ERROR: |CODE|: 5, |CATEGORY|: QtFileError, |SOURCE|: open, |DESCRIPTION|: \u00e9t\u00e9 \u20ac}"_s;
    QTest::newRow("placeholders and braces within the texts stay as they are")
        << AbstractError(1, "%1", "%2}", "{%3|")
        << u"{ERROR: |CODE|: 1, |CATEGORY|: %1, |SOURCE|: %2}, |DESCRIPTION|: {%3|}"_s;
}

void TestAbstractError::logText()
{
    QFETCH(AbstractError, error);
    QTEST(error.toLogText(), "expected");
}

void TestAbstractError::streamWritesTheLogText()
{
    const AbstractError error(404, "HttpError", "file.cpp,626", "gone");
    QString text;
    QTextStream stream(&text);
    stream << Qt::hex << "failed: " << error << '.';
    stream.flush();
    QCOMPARE(text, u"failed: "_s + error.toLogText() + u'.');
}

void TestAbstractError::deliberateStop()
{
    const AbstractError error = operationAbortedError("stop");
    QCOMPARE(error, AbstractError(4, "GenericError", "stop", ""));
}

void TestAbstractError::sameFailure_data()
{
    QTest::addColumn<AbstractError>("a");
    QTest::addColumn<AbstractError>("b");
    QTest::addColumn<bool>("expected");

    const AbstractError http404(404, "HttpError", "a", "x");
    QTest::newRow("source and wording do not count") << http404 << AbstractError(404, "HttpError", "b", "y") << true;
    QTest::newRow("another code is another failure") << http404 << AbstractError(403, "HttpError", "a", "x") << false;
    QTest::newRow("another category is another failure")
        << http404 << AbstractError(404, "QtNetworkError", "a", "x") << false;
    QTest::newRow("categories are compared with their case")
        << http404 << AbstractError(404, "httperror", "a", "x") << false;
    QTest::newRow("without a failure the category does not count")
        << AbstractError(0, "HttpError", "", "") << AbstractError(0, "GenericError", "", "") << true;
}

void TestAbstractError::sameFailure()
{
    QFETCH(AbstractError, a);
    QFETCH(AbstractError, b);
    QFETCH(bool, expected);
    QCOMPARE(a.isSameFailure(b), expected);
    QCOMPARE(b.isSameFailure(a), expected);
}

void TestAbstractError::equalityCountsEveryField()
{
    const AbstractError error(1, "a", "b", "c");
    QVERIFY(error == AbstractError(1, "a", "b", "c"));
    QVERIFY(error != AbstractError(2, "a", "b", "c"));
    QVERIFY(error != AbstractError(1, "x", "b", "c"));
    QVERIFY(error != AbstractError(1, "a", "x", "c"));
    QVERIFY(error != AbstractError(1, "a", "b", "x"));
}

void TestAbstractError::travelsInAVariant()
{
    const AbstractError error(404, "HttpError", "file.cpp,626", "gone");
    QCOMPARE(QVariant::fromValue(error).value<AbstractError>(), error);
}

void TestAbstractError::sourceText()
{
    QCOMPARE(errorSource("inet/qt/section.cpp", 620), std::string("inet/qt/section.cpp,620"));
}

void TestAbstractError::sourceOfTheCallingPlace()
{
    const std::string text = errorSourceHere();
    const std::string expected = errorSource("tests/unit/records/tst_abstracterror.cpp", __LINE__ - 1);
    QCOMPARE(text, expected);
}

QTEST_GUILESS_MAIN(TestAbstractError)
#include "tst_abstracterror.moc"
