// SPDX-License-Identifier: MIT
#include <cli/pages/manualtables.h>

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

/// docs/manual.md says what the tables of commands and options say. PLAIT_WRITE_MANUAL=1 writes its tables anew.
class TestManual : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itsTablesAreThoseOfTheProgram();

private:
    static QString path() { return QStringLiteral(PLAIT_SOURCE_ROOT) + "/docs/manual.md"_L1; }
};

void TestManual::itsTablesAreThoseOfTheProgram()
{
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString manual = QString::fromUtf8(file.readAll());
    file.close();
    QString missing;
    const QString drawn = ManualTables::drawnInto(manual, &missing);
    QVERIFY2(missing.isEmpty(), qPrintable(missing + " has no such part in the manual"_L1));
    if (qEnvironmentVariableIsSet("PLAIT_WRITE_MANUAL"))
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(drawn.toUtf8()) > 0);
    const QStringList is = manual.split(u'\n');
    const QStringList wanted = drawn.split(u'\n');
    for (qsizetype i = 0; i < wanted.size(); ++i) {
        const QString told =
            u"line %1 of docs/manual.md is\n  %2\nand the tables say\n  %3\nPLAIT_WRITE_MANUAL=1 writes "
            u"them anew"_s.arg(QString::number(i + 1), is.value(i), wanted.at(i));
        QVERIFY2(is.value(i) == wanted.at(i), qPrintable(told));
    }
    QCOMPARE(is.size(), wanted.size());
}

QTEST_GUILESS_MAIN(TestManual)
#include "tst_manual.moc"
