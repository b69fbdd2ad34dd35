// SPDX-License-Identifier: MIT
#include <host/storage/diskroom.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestDiskRoom : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void holesOfAFileTakeNothing();
    void aFolderThatIsToBeMadeHasTheRoomOfTheOneAboveIt();
};

void TestDiskRoom::holesOfAFileTakeNothing()
{
    constexpr qint64 kLength = qint64(1) << 30;
    constexpr qint64 kWritten = 100000;
    const QTemporaryDir dir;
    const QString path = dir.filePath(u"x.bin"_s);
    QCOMPARE(DiskRoom::takenBy(path), 0);
    QVERIFY(TestFiles::writeFile(path, 1, kWritten));
    QVERIFY(QFile::resize(path, kLength));
    QVERIFY(DiskRoom::takenBy(path) >= kWritten);
    QVERIFY(DiskRoom::takenBy(path) < kLength);
}

void TestDiskRoom::aFolderThatIsToBeMadeHasTheRoomOfTheOneAboveIt()
{
    const QTemporaryDir dir;
    QVERIFY(DiskRoom::freeIn(dir.filePath(u"not/there/yet"_s)) > 0);
    QCOMPARE(DiskRoom::freeIn(u"/proc/not/there/yet"_s), DiskRoom::freeIn(u"/proc"_s));
}

QTEST_GUILESS_MAIN(TestDiskRoom)
#include "tst_diskroom.moc"
