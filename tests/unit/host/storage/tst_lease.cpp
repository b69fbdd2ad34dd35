// SPDX-License-Identifier: MIT
#include <host/storage/lease.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using File = AbstractDownloadFileInfo;

constexpr int kAnswers = 3;
const QByteArray kDigest = "sha-256=:AAAA:";

File fileOf(qint64 size, const QList<qint64> &downloaded)
{
    File file;
    file.name = u"%1.iso"_s.arg(size);
    file.size = size;
    for (const qint64 bytes : downloaded) {
        AbstractDownloadSection section;
        section.downloaded = bytes;
        file.sections.append(section);
    }
    return file;
}

/// Of a file that is finished, and whose server named a digest of it.
Lease finishedLease()
{
    Lease lease;
    lease.record.files = {fileOf(10, {10})};
    lease.record.setFlag(AbstractDownloadPersistentInfo::Finished, true);
    KnownAddress address;
    address.identity.digest = kDigest;
    lease.memory.addresses = {KnownAddress(), address};
    return lease;
}

}

Q_DECLARE_METATYPE(Lease)

class TestLease : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aLineSaysHowMuchThereIs_data();
    void aLineSaysHowMuchThereIs();
    void whatIsToBeCompared_data();
    void whatIsToBeCompared();
    void whatProvesTheFileIsShownWithoutWhatItIsKnownBy();
};

void TestLease::aLineSaysHowMuchThereIs_data()
{
    QTest::addColumn<QList<File>>("files");
    QTest::addColumn<QString>("name");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("done");
    using Files = QList<File>;
    QTest::newRow("no file yet") << Files() << QString() << qint64(-1) << qint64(0);
    QTest::newRow("a file of unknown size") << Files{fileOf(-1, {5})} << u"-1.iso"_s << qint64(-1) << qint64(5);
    QTest::newRow("a file in sections") << Files{fileOf(100, {5, 0, 7})} << u"100.iso"_s << qint64(100) << qint64(12);
    QTest::newRow("several files") << Files{fileOf(100, {5}), fileOf(0, {}), fileOf(20, {20})} << u"100.iso"_s
                                   << qint64(120) << qint64(25);
    QTest::newRow("several, the size of one of which is unknown")
        << Files{fileOf(100, {5}), fileOf(-1, {1}), fileOf(20, {20})} << u"100.iso"_s << qint64(-1) << qint64(26);
}

void TestLease::aLineSaysHowMuchThereIs()
{
    QFETCH(QList<File>, files);
    Lease lease;
    lease.record.files = files;
    const ListEntry entry = lease.entry();
    QTEST(entry.name, "name");
    QTEST(entry.size, "size");
    QTEST(entry.done, "done");
    QVERIFY(!entry.finished);
    QCOMPARE(entry.owner.pid, 0);
}

void TestLease::whatIsToBeCompared_data()
{
    QTest::addColumn<Lease>("lease");
    QTest::addColumn<bool>("has");
    QTest::addColumn<ChecksumResult>("result");
    using Result = ChecksumResult;
    const auto row = [](const char *name, bool has, Result result, void (*change)(Lease &)) {
        Lease lease = finishedLease();
        change(lease);
        QTest::newRow(name) << lease << has << result;
    };
    row("the server's digest", true, Result::NotCompared, [](Lease &) {});
    row("none", false, Result::NotCompared, [](Lease &lease) { lease.memory.addresses.clear(); });
    row("the server's digest of a file that is not finished", false, Result::NotCompared,
        [](Lease &lease) { lease.record.setFlag(AbstractDownloadPersistentInfo::Finished, false); });
    row("of one that was finished early, which is another file", false, Result::NotCompared,
        [](Lease &lease) { lease.memory.evidence.doubt = Evidence::Doubt::FinishedEarly; });
    row("the server's digest, compared", true, Result::Equal,
        [](Lease &lease) { lease.memory.evidence.digest = Result::Equal; });
    row("one that was compared before it was forgotten", true, Result::Different, [](Lease &lease) {
        lease.memory.addresses.clear();
        lease.memory.evidence.digest = Result::Different;
    });
    row("a person's comes first", true, Result::NotCompared, [](Lease &lease) {
        lease.options.checksumAlgorithm = u"md5"_s;
        lease.memory.evidence.digest = Result::Equal;
    });
    row("a person's, compared", true, Result::Different, [](Lease &lease) {
        lease.options.checksumAlgorithm = u"md5"_s;
        lease.options.checksumResult = Result::Different;
        lease.memory.evidence.digest = Result::Equal;
    });
    row("one that a list is to name", true, Result::NotCompared, [](Lease &lease) {
        lease.options.checksumSource = u"http://a/SHA256SUMS"_s;
        lease.memory.evidence.digest = Result::Equal;
    });
    row("what may stand beside the file is none yet", true, Result::Equal, [](Lease &lease) {
        lease.options.checksumSource = u"auto"_s;
        lease.memory.evidence.digest = Result::Equal;
    });
    row("a person's that is none any more", true, Result::NotCompared,
        [](Lease &lease) { lease.options.checksumResult = Result::Equal; });
}

void TestLease::whatIsToBeCompared()
{
    QFETCH(Lease, lease);
    const ListEntry entry = lease.entry();
    QTEST(entry.hasChecksum, "has");
    QTEST(entry.checksumResult, "result");
}

void TestLease::whatProvesTheFileIsShownWithoutWhatItIsKnownBy()
{
    Lease lease = finishedLease();
    lease.memory.evidence.answers = kAnswers;
    lease.memory.evidence.doubt = Evidence::Doubt::NoLength;
    lease.memory.evidence.address = QUrl(u"http://h/x"_s);
    lease.memory.evidence.etag = "\"1\"";
    const Evidence shown = lease.entry().evidence;
    QCOMPARE(shown.answers, kAnswers);
    QCOMPARE(shown.doubt, Evidence::Doubt::NoLength);
    QVERIFY(shown.address.isEmpty() && shown.etag.isEmpty());
}

QTEST_GUILESS_MAIN(TestLease)
#include "tst_lease.moc"
