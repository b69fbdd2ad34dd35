// SPDX-License-Identifier: MIT
#include <tests/integration/plaitsandbox.h>
#include <tests/integration/programrun.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kSize = 100000;

}

/// What "cmake --install" puts into a folder, and that it works there.
class TestPlaitInstall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void eachThingLiesWhereSystemsLookForIt_data();
    void eachThingLiesWhereSystemsLookForIt();
    void whatIsInstalledStandsOnItsOwn();

private:
    QString path(const QString &name) const { return m_folder.filePath(name); }

    QTemporaryDir m_folder;
};

void TestPlaitInstall::initTestCase()
{
    QProcess cmake;
    cmake.setProcessChannelMode(QProcess::MergedChannels);
    cmake.start(QStringLiteral(PLAIT_CMAKE),
                {u"--install"_s, QStringLiteral(PLAIT_BUILD), u"--prefix"_s, m_folder.path()});
    QVERIFY(cmake.waitForFinished(60000));
    QVERIFY2(cmake.exitCode() == 0, cmake.readAll().constData());
}

void TestPlaitInstall::eachThingLiesWhereSystemsLookForIt_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name :
         {"bin/plait", "share/man/man1/plait.1", "share/man/man5/plait.conf.5",
          "share/bash-completion/completions/plait", "share/zsh/site-functions/_plait",
          "share/fish/vendor_completions.d/plait.fish", "share/doc/plait/README.md", "share/doc/plait/docs/manual.md"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void TestPlaitInstall::eachThingLiesWhereSystemsLookForIt()
{
    QFETCH(QString, name);
    QVERIFY(QFileInfo(path(name)).size() > 0);
}

/// Neither the build's library nor its module is needed.
void TestPlaitInstall::whatIsInstalledStandsOnItsOwn()
{
    for (const QString &name : {u"bin/plait"_s, u"lib/plait/libdownloadswww.so"_s}) {
        QProcess ldd;
        ldd.start(u"ldd"_s, {path(name)});
        QVERIFY(ldd.waitForFinished(60000));
        const QByteArray libraries = ldd.readAllStandardOutput();
        QVERIFY2(libraries.contains(QFile::encodeName(m_folder.path())) && !libraries.contains(PLAIT_BUILD),
                 libraries.constData());
    }
    TestCa ca;
    NginxServer server;
    QVERIFY2(server.start(ca), qPrintable(server.errorText()));
    QVERIFY(server.addFile(u"file.bin"_s, 5, kSize));
    PlaitSandbox sandbox;
    const ProgramRun run = ProgramRun::of(sandbox, path(u"bin/plait"_s), {server.url(u"/file.bin"_s).toString()},
                                          PlaitSandbox::kPatienceMs, {});
    QVERIFY2(run.status == 0, run.err);
    QCOMPARE(QFileInfo(sandbox.path(u"file.bin"_s)).size(), kSize);
}

QTEST_GUILESS_MAIN(TestPlaitInstall)
#include "tst_plait_install.moc"
