// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kDone = 0;
constexpr int kNotFound = 3;
constexpr int kBadOption = 28;
}

/// Programs of the person's that are called when downloads have ended.
class TestPlaitAfter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void eachDownloadThatIsDoneIsToldWithItsPath();
    void whatWentToStandardOutputHasNoPath();
    void eachThatFailedIsToldApart();
    void soIsEachThatWasRefused();
    void answersStayFreeOfWhatACommandWrites();
    void aCommandThatFailsIsSaidAndTheDownloadIsDone();
    void aLineForAShellIsNoProgram();

private:
    QString script(const QByteArray &lines);
    QByteArray told() const;
    PlaitResult fetch(const QStringList &arguments);

    ScriptedServer m_server;
    std::unique_ptr<PlaitSandbox> m_plait;
};

void TestPlaitAfter::init()
{
    m_plait = std::make_unique<PlaitSandbox>();
    m_server.setResponse("/a.bin", ScriptedResponse::file(1, 1000));
    m_server.setResponse("/b.bin", ScriptedResponse::file(2, 1000));
}

/// Beside the downloads, which must hold nothing else.
QString TestPlaitAfter::script(const QByteArray &lines)
{
    QFile file(m_plait->downloads() + u".after"_s);
    const QByteArray text = "#!/bin/sh\n" + lines + '\n';
    const bool isMade = file.open(QIODevice::WriteOnly) && file.write(text) == text.size()
        && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return isMade ? file.fileName() : QString();
}

QByteArray TestPlaitAfter::told() const
{
    QFile file(m_plait->downloads() + u".told"_s);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

PlaitResult TestPlaitAfter::fetch(const QStringList &arguments)
{
    return m_plait->run(arguments
                        + QStringList{u"-j"_s, u"1"_s, m_server.url(u"/a.bin"_s).toString(),
                                      m_server.url(u"/missing"_s).toString(), m_server.url(u"/b.bin"_s).toString()});
}

void TestPlaitAfter::eachDownloadThatIsDoneIsToldWithItsPath()
{
    // The file is there, and whole, when its command is called.
    const QString command = script("wc -c < \"$1\" >> \"$0.size\"; echo \"$2 $1\" >> \"${0%.after}.told\"");
    const PlaitResult result = fetch({u"--on-complete"_s, command});
    QVERIFY2(result.status == kNotFound, result.err);
    QCOMPARE(told(), "1 " + m_plait->path(u"a.bin"_s).toUtf8() + "\n3 " + m_plait->path(u"b.bin"_s).toUtf8() + '\n');
    QFile sizes(command + u".size"_s);
    QVERIFY(sizes.open(QIODevice::ReadOnly));
    QCOMPARE(sizes.readAll(), "1000\n1000\n"_ba);
}

void TestPlaitAfter::whatWentToStandardOutputHasNoPath()
{
    const QString command = script("echo \"$1\" >> \"${0%.after}.told\"");
    const PlaitResult result =
        m_plait->run({u"-o"_s, u"-"_s, u"--on-complete"_s, command, m_server.url(u"/a.bin"_s).toString()});
    QVERIFY2(result.status == kDone, result.err);
    QCOMPARE(result.out.size(), 1000);
    QCOMPARE(told(), "-\n"_ba);
}

void TestPlaitAfter::eachThatFailedIsToldApart()
{
    const PlaitResult result = fetch({u"--on-error"_s, script("echo \"$2\" >> \"${0%.after}.told\"")});
    QVERIFY2(result.status == kNotFound, result.err);
    QCOMPARE(told(), "2\n"_ba);
}

void TestPlaitAfter::soIsEachThatWasRefused()
{
    QFile list(m_plait->path(u"urls.txt"_s));
    const QByteArray text = "sftp://files.example/a\n" + m_server.url(u"/a.bin"_s).toEncoded() + '\n';
    QVERIFY(list.open(QIODevice::WriteOnly) && list.write(text) == text.size());
    list.close();
    const PlaitResult result =
        m_plait->run({u"--on-error"_s, script("echo \"$2;$1\" >> \"${0%.after}.told\""), u"-i"_s, u"urls.txt"_s});
    QVERIFY2(result.status == kBadOption, result.err);
    QCOMPARE(told(), "0;\n"_ba);
}

void TestPlaitAfter::answersStayFreeOfWhatACommandWrites()
{
    const PlaitResult result =
        m_plait->run({u"--json"_s, u"--on-complete"_s, script("echo noise"), m_server.url(u"/a.bin"_s).toString()});
    QVERIFY2(result.status == kDone, result.err);
    QVERIFY2(!result.out.contains("noise"), result.out);
    QVERIFY2(result.err.contains("noise"), result.err);
}

void TestPlaitAfter::aCommandThatFailsIsSaidAndTheDownloadIsDone()
{
    const PlaitResult result =
        m_plait->run({u"--on-complete"_s, script("exit 4"), m_server.url(u"/a.bin"_s).toString()});
    QVERIFY2(result.status == kDone, result.err);
    QVERIFY2(result.err.contains("called after download 1, failed: it ended with status 4"), result.err);
}

void TestPlaitAfter::aLineForAShellIsNoProgram()
{
    const qsizetype before = m_server.requests().size();
    const PlaitResult result = m_plait->run({u"--on-complete"_s, u"echo done"_s, m_server.url(u"/a.bin"_s).toString()});
    QCOMPARE(result.status, kBadOption);
    QVERIFY2(result.err.contains("--on-complete \"echo done\" is no program. Give its name or path alone"), result.err);
    QCOMPARE(m_server.requests().size(), before);
}

QTEST_GUILESS_MAIN(TestPlaitAfter)
#include "tst_plait_after.moc"
