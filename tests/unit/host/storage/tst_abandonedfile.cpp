// SPDX-License-Identifier: MIT
#include <host/storage/abandonedfile.h>
#include <inet/qt/download/framework/fileidentity.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;

using Info = AbstractDownloadPersistentInfo;

namespace
{

constexpr qint64 kSecond = 1'000'000'000;
constexpr qint64 kAnyTime = std::numeric_limits<qint64>::max();

/// A folder with one file in it, and a record that was about to make one.
class Place
{
public:
    explicit Place(const QString &name, const QByteArray &bytes = {})
        : path(m_folder.filePath(name))
    {
        QFile made(path);
        if (made.open(QIODevice::WriteOnly))
            made.write(bytes);
        made.close();
        AbstractDownloadFileInfo file;
        file.name = u"file.bin"_s;
        record.destinationType = Info::ToFolder;
        record.folder = m_folder.path();
        record.files = {file};
    }

    /// A plan that old when the file was made.
    FileIdentity planMade(qint64 before) const
    {
        return {u"planned:%1"_s.arg(FileIdentity::of(path).birth() - before)};
    }
    bool isThere() const { return QFile::exists(path); }

private:
    QTemporaryDir m_folder;

public:
    const QString path;
    Info record;
};

}

class TestAbandonedFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFileOfOurNameGoes_data();
    void aFileOfOurNameGoes();
    void anotherNameStays_data();
    void anotherNameStays();
    void whatHoldsBytesStays();
    void whatWasMadeAtAnotherTimeStays_data();
    void whatWasMadeAtAnotherTimeStays();
    void whatIsMadeByOneWhoLivesStays();
    void whatSomebodyHasOpenStays();
    void withoutAPlanItStays();
    void aRecordThatHasItsFileLeavesOthersAlone();
};

void TestAbandonedFile::aFileOfOurNameGoes_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("the name that was wished") << u"file.bin.part"_s;
    QTest::newRow("a numbered one") << u"file (12).bin.part"_s;
}

void TestAbandonedFile::aFileOfOurNameGoes()
{
    QFETCH(QString, name);
    const Place place(name);
    QVERIFY(FileIdentity::of(place.path).birth() > 0);
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), kAnyTime), 1);
    QVERIFY(!place.isThere());
}

void TestAbandonedFile::anotherNameStays_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("of another download") << u"other.bin.part"_s;
    QTest::newRow("a number that is no number") << u"file (x).bin.part"_s;
    QTest::newRow("a final name") << u"file.bin"_s;
    QTest::newRow("more behind it") << u"file.bin.old.part"_s;
}

void TestAbandonedFile::anotherNameStays()
{
    QFETCH(QString, name);
    const Place place(name);
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), kAnyTime), 0);
    QVERIFY(place.isThere());
}

void TestAbandonedFile::whatHoldsBytesStays()
{
    const Place place(u"file.bin.part"_s, "x"_ba);
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), kAnyTime), 0);
    QVERIFY(place.isThere());
}

void TestAbandonedFile::whatWasMadeAtAnotherTimeStays_data()
{
    QTest::addColumn<qint64>("planned");
    QTest::addColumn<bool>("stays");
    QTest::newRow("before the plan") << -kSecond << true;
    QTest::newRow("in the tick of the plan") << -kSecond / 100 << false;
    QTest::newRow("ten seconds behind it") << 10 * kSecond << false;
    QTest::newRow("later than that") << 10 * kSecond + 1 << true;
}

void TestAbandonedFile::whatWasMadeAtAnotherTimeStays()
{
    QFETCH(qint64, planned);
    QFETCH(bool, stays);
    const Place place(u"file.bin.part"_s);
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(planned), kAnyTime), stays ? 0 : 1);
    QCOMPARE(place.isThere(), stays);
}

void TestAbandonedFile::whatIsMadeByOneWhoLivesStays()
{
    const Place place(u"file.bin.part"_s);
    const qint64 birth = FileIdentity::of(place.path).birth();
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), birth - 1), 0);
    QVERIFY(place.isThere());
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), birth), 1);
    QVERIFY(!place.isThere());
}

/// Another download of the same name, say, which has not had its first byte yet.
void TestAbandonedFile::whatSomebodyHasOpenStays()
{
    const Place place(u"file.bin.part"_s);
    QFile open(place.path);
    QVERIFY(open.open(QIODevice::ReadWrite));
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), kAnyTime), 0);
    QVERIFY(place.isThere());
    open.close();
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), kAnyTime), 1);
    QVERIFY(!place.isThere());
}

void TestAbandonedFile::withoutAPlanItStays()
{
    const Place place(u"file.bin.part"_s);
    QCOMPARE(AbandonedFile::remove(place.record, FileIdentity(), kAnyTime), 0);
    QCOMPARE(AbandonedFile::remove(place.record, FileIdentity::of(place.path), kAnyTime), 0);
    QVERIFY(place.isThere());
}

void TestAbandonedFile::aRecordThatHasItsFileLeavesOthersAlone()
{
    Place place(u"file.bin.part"_s);
    place.record.files.first().fileFlags = AbstractDownloadFileInfo::CreatedOnDisk;
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), kAnyTime), 0);
    place.record.files.first().fileFlags = 0;
    place.record.setFinished(true, true);
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), kAnyTime), 0);
    place.record.setFinished(false, true);
    place.record.files.clear();
    QCOMPARE(AbandonedFile::remove(place.record, place.planMade(kSecond), kAnyTime), 0);
    QVERIFY(place.isThere());
}

QTEST_GUILESS_MAIN(TestAbandonedFile)
#include "tst_abandonedfile.moc"
