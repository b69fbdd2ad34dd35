// SPDX-License-Identifier: MIT
#include <cli/trace.h>
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
    void linesGoToThePrinterAndTheLog();
    void theLogIsAsBeforeAfterwards();
    void withoutALogThePrinterIsToldAllTheSame();
};

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
