// SPDX-License-Identifier: MIT
#include <cli/trace.h>
#include <cli/tracewords.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <tests/unit/cli/runnerbench.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// Keeps what it is to tell of what goes on.
class Listener : public Notebook
{
public:
    QStringList traced;

    void trace(const QString &text) override { traced.append(text); }
};

}

class TestTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatOfTheLogIsTold_data();
    void whatOfTheLogIsTold();
    void linesGoToThePrinterAndTheLog();
    void theLogIsAsBeforeAfterwards();
    void withoutALogThePrinterIsToldAllTheSame();
};

void TestTrace::whatOfTheLogIsTold_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("words");
    const auto row = [](const char *name, const QString &line, const QString &words) {
        QTest::newRow(name) << u"[Download #3] "_s + line << (words.isEmpty() ? words : u"[3] "_s + words);
    };
    row("a request", u"GET /a.iso HTTP/1.1"_s, u"> GET /a.iso HTTP/1.1"_s);
    row("the server that is asked", u"Host: 127.0.0.1"_s, u"> Host: 127.0.0.1"_s);
    row("the part that is asked for", u"Range: bytes=5-"_s, u"> Range: bytes=5-"_s);
    row("a status", u"HTTP/1.1 302 Found"_s, u"< HTTP/1.1 302 Found"_s);
    row("where it leads", u"location: /b.iso"_s, u"< location: /b.iso"_s);
    row("what says nothing of the way", u"Server: nginx/1.22.1"_s, {});
    row("a secret", u"Authorization: Basic c2VjcmV0"_s, {});
    row("a section that begins", u"section #2 started (offset: 5, size: 5, done: 0)"_s,
        u"section #2 started (offset: 5, size: 5, done: 0)"_s);
    row("an error in words",
        u"section #1 error: {ERROR: |CODE|: 1, |CATEGORY|: QtNetworkError, |SOURCE|: a.cpp,283, |DESCRIPTION|: "
        u"Connection refused}"_s,
        u"section #1 failed: Connection refused"_s);
    row("an error without",
        u"section #1 error: {ERROR: |CODE|: 404, |CATEGORY|: HttpError, |SOURCE|: a.cpp,6, |DESCRIPTION|: }"_s,
        u"section #1 failed: HttpError 404"_s);
    row("what goes on inside", u"sections running: 1"_s, {});
    QTest::newRow("what is of no download") << u"Host: x"_s << QString();
}

void TestTrace::whatOfTheLogIsTold()
{
    QFETCH(QString, line);
    QTEST(TraceWords::of(line), "words");
}

void TestTrace::linesGoToThePrinterAndTheLog()
{
    Listener printer;
    QStringList logged;
    const Trace trace(printer, [&logged](int, const QString &line) { logged.append(line); });
    QtAppDefaultLogger::instance()->log(1, u"[Download #3] HTTP/1.1 200 OK"_s);
    QtAppDefaultLogger::instance()->log(1, u"[Download #3] running: 1"_s);
    QCOMPARE(printer.traced, QStringList{u"[3] < HTTP/1.1 200 OK"_s});
    QCOMPARE(logged, (QStringList{u"[Download #3] HTTP/1.1 200 OK"_s, u"[Download #3] running: 1"_s}));
}

void TestTrace::theLogIsAsBeforeAfterwards()
{
    Listener printer;
    QStringList logged;
    {
        const Trace trace(printer, [&logged](int, const QString &line) { logged.append(line); });
    }
    QtAppDefaultLogger::instance()->log(1, u"[Download #3] HTTP/1.1 200 OK"_s);
    QCOMPARE(printer.traced, QStringList());
    QCOMPARE(logged.size(), 1);
    QtAppDefaultLogger::instance()->setSink({});
}

void TestTrace::withoutALogThePrinterIsToldAllTheSame()
{
    Listener printer;
    const Trace trace(printer, {});
    QtAppDefaultLogger::instance()->log(1, u"[Download #3] HTTP/1.1 200 OK"_s);
    QCOMPARE(printer.traced.size(), 1);
}

QTEST_GUILESS_MAIN(TestTrace)
#include "tst_trace.moc"
