// SPDX-License-Identifier: MIT
#include <cli/aftercommands.h>

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestAfterCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pathAndNumberComeAsTheyAre();
    void whatFailsIsSaid_data();
    void whatFailsIsSaid();
    void itIsIdleWhenTheLastHasEnded();
    void aProgramIsAPathOrANameInPath();

private:
    QString script(const QByteArray &lines);

    QTemporaryDir m_dir;
};

QString TestAfterCommands::script(const QByteArray &lines)
{
    QFile file(m_dir.filePath(u"script"_s));
    const QByteArray text = "#!/bin/sh\n" + lines + '\n';
    const bool isMade = file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size()
        && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return isMade ? file.fileName() : QString();
}

void TestAfterCommands::pathAndNumberComeAsTheyAre()
{
    const QString told = m_dir.filePath(u"told"_s);
    const QString path = u"/a b/$(touch x)'\"\n*.bin"_s;
    AfterCommands commands;
    QSignalSpy idle(&commands, &AfterCommands::idle);
    QSignalSpy failed(&commands, &AfterCommands::failed);
    commands.call(script("printf '%s|%s|%s' \"$#\" \"$1\" \"$2\" > '" + told.toUtf8() + "'"), path, 7);
    QVERIFY(!commands.isIdle());
    QTRY_COMPARE(idle.count(), 1);
    QCOMPARE(failed.count(), 0);
    QFile file(told);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(file.readAll()), u"2|"_s + path + u"|7"_s);
}

void TestAfterCommands::whatFailsIsSaid_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QString>("reason");
    QTest::newRow("another status than 0") << "exit 3"_ba << u"it ended with status 3"_s;
    QTest::newRow("a signal") << "kill -9 $$"_ba << u"it was ended by a signal"_s;
    QTest::newRow("no program") << QByteArray() << u"it cannot be started"_s;
}

void TestAfterCommands::whatFailsIsSaid()
{
    QFETCH(QByteArray, lines);
    QFETCH(QString, reason);
    const QString command = lines.isEmpty() ? m_dir.filePath(u"nothing"_s) : script(lines);
    AfterCommands commands;
    QSignalSpy idle(&commands, &AfterCommands::idle);
    QSignalSpy failed(&commands, &AfterCommands::failed);
    commands.call(command, {}, 5);
    QTRY_COMPARE(idle.count(), 1);
    QCOMPARE(failed.count(), 1);
    QCOMPARE(failed.first(), (QVariantList{qint64(5), command, reason}));
}

void TestAfterCommands::itIsIdleWhenTheLastHasEnded()
{
    const QString gate = m_dir.filePath(u"gate"_s);
    AfterCommands commands;
    QSignalSpy idle(&commands, &AfterCommands::idle);
    commands.call(script("until [ -e '" + gate.toUtf8() + "' ]; do sleep 0.01; done"), {}, 1);
    commands.call(u"true"_s, {}, 2);
    QSignalSpy failed(&commands, &AfterCommands::failed);
    commands.call(u"false"_s, {}, 3);
    QTRY_COMPARE(failed.count(), 1);
    QCOMPARE(idle.count(), 0);
    QFile file(gate);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QTRY_COMPARE(idle.count(), 1);
    QVERIFY(commands.isIdle());
}

void TestAfterCommands::aProgramIsAPathOrANameInPath()
{
    QVERIFY(AfterCommands::isProgram(u"true"_s));
    QVERIFY(AfterCommands::isProgram(script("exit 0")));
    QVERIFY(!AfterCommands::isProgram(u"true now"_s));
    QVERIFY(!AfterCommands::isProgram(m_dir.path()));
    QVERIFY(!AfterCommands::isProgram(u"/nowhere/at-all"_s));
}

QTEST_GUILESS_MAIN(TestAfterCommands)
#include "tst_aftercommands.moc"
