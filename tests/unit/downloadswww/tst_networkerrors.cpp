// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/networkerrors.h>
#include <tests/support/fakereply.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestNetworkErrors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void records_data();
    void records();
};

void TestNetworkErrors::records_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("status");
    QTest::addColumn<AbstractError>("expected");

    const std::string place = "some/file.cpp,7";
    QTest::newRow("no error gives the empty record, place included") << 0 << QString() << 0 << AbstractError();
    QTest::newRow("no error gives the empty record, status 200 or not") << 0 << QString() << 200 << AbstractError();
    QTest::newRow("no error gives the empty record even where a text was left")
        << 0 << u"left over"_s << 200 << AbstractError();
    QTest::newRow("a missing page keeps the reply's own text")
        << int(QNetworkReply::ContentNotFoundError) << u"Error transferring x - server replied: Not Found"_s << 404
        << AbstractError(203, "QtNetworkError", place, "Error transferring x - server replied: Not Found");
    QTest::newRow("the network layer's number is the code")
        << int(QNetworkReply::RemoteHostClosedError) << u"Connection closed"_s << 0
        << AbstractError(2, "QtNetworkError", place, "Connection closed");
    QTest::newRow("an empty text is made from the status")
        << int(QNetworkReply::ServiceUnavailableError) << QString() << 503
        << AbstractError(403, "QtNetworkError", place, "HTTP Error 503");
    QTest::newRow("an empty text without a status stays the reply's stand-in")
        << int(QNetworkReply::UnknownNetworkError) << QString() << 0
        << AbstractError(99, "QtNetworkError", place, "Unknown error");
    QTest::newRow("the text is UTF-8") << int(QNetworkReply::ProtocolFailure) << u"gebrochenes Stück"_s << 0
                                       << AbstractError(399, "QtNetworkError", place,
                                                        "gebrochenes St\xc3\xbc"
                                                        "ck");
}

void TestNetworkErrors::records()
{
    QFETCH(int, error);
    QFETCH(QString, text);
    QFETCH(int, status);
    QFETCH(AbstractError, expected);

    FakeReply reply(QNetworkAccessManager::GetOperation, QNetworkRequest(), {}, nullptr);
    reply.setHead(status, "whatever", {});
    reply.setFailure(QNetworkReply::NetworkError(error), text);
    const AbstractError got = errorFrom(&reply, "some/file.cpp,7");
    QVERIFY2(got == expected, qPrintable(got.toLogText()));
}

QTEST_GUILESS_MAIN(TestNetworkErrors)
#include "tst_networkerrors.moc"
