// SPDX-License-Identifier: MIT
#include <host/storage/renamedfile.h>
#include <inet/qt/download/framework/fileidentity.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Info = AbstractDownloadPersistentInfo;

namespace
{

const QByteArray kOurs = "ours"_ba;
const QByteArray kTheirs = "bees"_ba;

/// A folder in which a record says that "file.bin.part" is being written.
class Place
{
public:
    Place()
    {
        AbstractDownloadFileInfo file;
        file.name = u"file.bin"_s;
        file.pathOnDisk = u"file.bin.part"_s;
        file.fileFlags = AbstractDownloadFileInfo::CreatedOnDisk;
        record.destinationType = Info::ToFolder;
        record.folder = m_folder.path();
        record.files = {file};
    }

    bool write(const QString &name, const QByteArray &bytes) const
    {
        QFile file(m_folder.filePath(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }
    FileIdentity identity(const QString &name) const { return FileIdentity::of(m_folder.filePath(name)); }
    QByteArray content(const QString &name) const
    {
        QFile file(m_folder.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QStringList names() const { return QDir(m_folder.path()).entryList(QDir::Files | QDir::System, QDir::Name); }

    Info record;

private:
    QTemporaryDir m_folder;
};

}

class TestRenamedFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFileIsKnownUnderItsFinalName_data();
    void aFileIsKnownUnderItsFinalName();
    void anotherFileIsLeftAlone();
    void aFileOfTheSameNumberThatWasMadeAtAnotherTimeIsAnother();
    void aLinkToTheFileIsAnother();
    void nothingIsReplaced();
    void nothingIsTakenBack_data();
    void nothingIsTakenBack();
};

void TestRenamedFile::aFileIsKnownUnderItsFinalName_data()
{
    QTest::addColumn<QString>("partName");
    QTest::addColumn<QString>("finalName");
    QTest::newRow("the name that was wished") << u"file.bin.part"_s << u"file.bin"_s;
    QTest::newRow("the name that was free") << u"file (1).bin.part"_s << u"file (1).bin"_s;
    QTest::newRow("the wished one, free by then") << u"file (1).bin.part"_s << u"file.bin"_s;
}

void TestRenamedFile::aFileIsKnownUnderItsFinalName()
{
    QFETCH(QString, partName);
    QFETCH(QString, finalName);
    Place place;
    place.record.files.first().pathOnDisk = partName;
    QVERIFY(place.write(finalName, kOurs));
    QVERIFY(RenamedFile::takeBack(place.record, place.identity(finalName)));
    QCOMPARE(place.names(), QStringList{partName});
    QCOMPARE(place.content(partName), kOurs);
}

void TestRenamedFile::anotherFileIsLeftAlone()
{
    Place place;
    QVERIFY(place.write(u"file.bin.part"_s, kOurs));
    const FileIdentity ours = place.identity(u"file.bin.part"_s);
    QVERIFY(place.write(u"file.bin"_s, kTheirs));
    QVERIFY(QFile::remove(place.record.filePath(0)));
    QVERIFY(!RenamedFile::takeBack(place.record, ours));
    QCOMPARE(place.names(), QStringList{u"file.bin"_s});
    QCOMPARE(place.content(u"file.bin"_s), kTheirs);
}

// File systems give the number of a deleted file to the next one.
void TestRenamedFile::aFileOfTheSameNumberThatWasMadeAtAnotherTimeIsAnother()
{
    Place place;
    QVERIFY(place.write(u"file.bin"_s, kTheirs));
    const FileIdentity theirs = place.identity(u"file.bin"_s);
    QVERIFY(theirs.birth() > 0);
    const QString number = theirs.text.section(u':', 0, 0);
    for (const qint64 birth : {qint64(0), theirs.birth() - 1, theirs.birth() + 1}) {
        QVERIFY(!RenamedFile::takeBack(place.record, {u"%1:%2"_s.arg(number).arg(birth)}));
        QCOMPARE(place.names(), QStringList{u"file.bin"_s});
    }
}

void TestRenamedFile::aLinkToTheFileIsAnother()
{
    Place place;
    QVERIFY(place.write(u"elsewhere"_s, kTheirs));
    const FileIdentity elsewhere = place.identity(u"elsewhere"_s);
    const QString target = place.record.folder + u"/elsewhere"_s;
    QVERIFY(QFile::link(target, place.record.folder + u"/file.bin"_s));
    QVERIFY(!RenamedFile::takeBack(place.record, elsewhere));
    QCOMPARE(place.names(), (QStringList{u"elsewhere"_s, u"file.bin"_s}));
}

void TestRenamedFile::nothingIsReplaced()
{
    Place place;
    QVERIFY(place.write(u"file.bin"_s, kOurs));
    QVERIFY(place.write(u"file.bin.part"_s, kTheirs));
    QVERIFY(!RenamedFile::takeBack(place.record, place.identity(u"file.bin"_s)));
    QCOMPARE(place.content(u"file.bin"_s), kOurs);
    QCOMPARE(place.content(u"file.bin.part"_s), kTheirs);
}

void TestRenamedFile::nothingIsTakenBack_data()
{
    QTest::addColumn<Info>("change");
    QTest::addColumn<bool>("isKnown");
    const Place place;
    Info finished = place.record;
    finished.setFinished(true, true);
    Info withoutFile = place.record;
    withoutFile.files.clear();
    Info notOnDisk = place.record;
    notOnDisk.files.first().fileFlags = 0;
    Info underItsName = place.record;
    underItsName.files.first().pathOnDisk.clear();
    QTest::newRow("by a record that is finished") << finished << true;
    QTest::newRow("by a record without a file") << withoutFile << true;
    QTest::newRow("by a record whose file is not on disk") << notOnDisk << true;
    QTest::newRow("of a file that has the name already") << underItsName << true;
    QTest::newRow("without knowing which file it is") << place.record << false;
}

void TestRenamedFile::nothingIsTakenBack()
{
    QFETCH(Info, change);
    QFETCH(bool, isKnown);
    Place place;
    change.folder = place.record.folder;
    QVERIFY(place.write(u"file.bin"_s, kOurs));
    const FileIdentity identity = isKnown ? place.identity(u"file.bin"_s) : FileIdentity();
    QVERIFY(!RenamedFile::takeBack(change, identity));
    QCOMPARE(place.names(), QStringList{u"file.bin"_s});
}

QTEST_GUILESS_MAIN(TestRenamedFile)
#include "tst_renamedfile.moc"
