// SPDX-License-Identifier: MIT
#include <tests/unit/host/storage/randomrecord.h>
#include <tests/unit/host/storage/storekinds.h>

#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

constexpr quint32 kRandomRecords = 300;

Info recordOf(const QString &url, const QString &folder, const QString &outputName = {})
{
    Info info;
    info.url = QUrl(url);
    info.folder = folder;
    if (!outputName.isEmpty()) {
        AbstractDownloadFileInfo file;
        file.name = outputName;
        info.files = {file};
        info.setFlag(Info::RenameBlocked, true);
    }
    return info;
}

template<typename Record>
QList<qint64> idsOf(const QList<Record> &records)
{
    QList<qint64> ids;
    for (const Record &record : records)
        ids.append(record.id);
    return ids;
}

}

/// What every store does, over each of them.
class TestDownloadStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data();
    void init();
    void cleanup();

    void everyFieldComesBack();
    void aSelectionComesBackToTheBit();
    void anUpdateReplacesEverything();
    void anUpdateOfNobodyFails();
    void idsAreNotGivenOutTwice();
    void aRecordThatIsNotThereIsNoError();
    void whatIsUnfinishedIsFound_data();
    void whatIsUnfinishedIsFound();
    void whatIsFinishedIsFound_data();
    void whatIsFinishedIsFound();
    void theNewestFinishedAreFoundAndNoMore();
    void theNewestUnfinishedComesFirst();
    void unfinishedLeavesOutWhatIsFinished();
    void optionsComeBack();
    void theFilesIdentityStaysUntilAnotherIsKnown();
    void theEncodingStaysUntilAnotherIsSaid();
    void whatProvesTheFileComesBack();
    void aServersDigestIsToBeCompared();
    void whatAListIsToNameIsToBeCompared();
    void doneIsWhatNothingSpeaksAgainst_data();
    void doneIsWhatNothingSpeaksAgainst();
    void whoLostItsClaimWritesNothing();
    void whoseDownloadIsRemovedHasLostIt();
    void aPageShowsTheNewestFirst();
    void pagesGoOnWhereTheLastOneEnded();
    void aPageShowsWhatALineNeeds();
    void secretsAreForgottenUnlessTheyAreToBeKept();
    void whatRunsIsOwned();
    void whatHappensTogetherHappensAltogether();
    void whatFailsTogetherLeavesNothing();
    void aLeaseShowsTheLineOfTheList();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<DownloadStore> m_list;
};

void TestDownloadStore::initTestCase_data()
{
    StoreKinds::addRows();
}

void TestDownloadStore::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_list = StoreKinds::open(m_dir->path());
    QVERIFY(m_list);
}

void TestDownloadStore::cleanup()
{
    m_list.reset();
}

void TestDownloadStore::everyFieldComesBack()
{
    DownloadStore &list = *m_list;
    for (quint32 seed = 0; seed < kRandomRecords; ++seed) {
        Info record = randomRecord(seed);
        QVERIFY2(list.insert(record) > 0, qPrintable(list.lastFailure().plain()));
        const std::optional<Info> back = list.load(record.id);
        QVERIFY2(back.has_value(), qPrintable(list.lastFailure().plain()));
        QVERIFY2(*back == record, qPrintable(u"seed %1"_s.arg(seed)));
    }
    QCOMPARE(list.list().size(), qsizetype(kRandomRecords));
}

void TestDownloadStore::aSelectionComesBackToTheBit()
{
    DownloadStore &list = *m_list;
    Info record;
    record.files.resize(3);
    record.files[0].selected = 0;
    record.files[1].selected = 0x40000000;
    record.files[2].selected = -1;
    QVERIFY(list.insert(record) > 0);
    const std::optional<Info> back = list.load(record.id);
    QVERIFY(back.has_value());
    QCOMPARE(back->files.at(0).selected, 0);
    QCOMPARE(back->files.at(1).selected, 0x40000000);
    QCOMPARE(back->files.at(2).selected, -1);
}

void TestDownloadStore::anUpdateReplacesEverything()
{
    DownloadStore &list = *m_list;
    Info record = randomRecord(0);
    Info neighbour = randomRecord(1);
    QVERIFY(list.insert(record) > 0);
    QVERIFY(list.insert(neighbour) > 0);
    for (quint32 seed = 1000; seed < 1050; ++seed) {
        Info changed = randomRecord(seed);
        changed.id = record.id;
        QVERIFY2(list.update(changed), qPrintable(list.lastFailure().plain()));
        changed.sortIndex = record.sortIndex;
        QVERIFY2(list.load(record.id) == changed, qPrintable(u"seed %1"_s.arg(seed)));
    }
    QVERIFY(list.load(neighbour.id) == neighbour);
}

void TestDownloadStore::anUpdateOfNobodyFails()
{
    DownloadStore &list = *m_list;
    Info record = randomRecord(3);
    record.id = 77;
    QVERIFY(!list.update(record));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::CannotChangeList);
    QVERIFY(list.list().isEmpty());
}

void TestDownloadStore::idsAreNotGivenOutTwice()
{
    DownloadStore &list = *m_list;
    Info first;
    Info second;
    QVERIFY(list.insert(first) > 0);
    QVERIFY(list.remove(first.id));
    QVERIFY(list.insert(second) > 0);
    QVERIFY(second.id != first.id);
}

void TestDownloadStore::aRecordThatIsNotThereIsNoError()
{
    DownloadStore &list = *m_list;
    QVERIFY(!list.load(5).has_value());
    QVERIFY(list.lastFailure().plain().isEmpty());
}

void TestDownloadStore::whatIsUnfinishedIsFound_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("outputName");
    QTest::addColumn<QList<qint64>>("ids");

    const QString url = u"http://a/x?q=1"_s;
    QTest::newRow("the same URL and folder") << url << u"/home"_s << QString() << QList<qint64>{1};
    QTest::newRow("the same with the same name") << url << u"/home"_s << u"y"_s << QList<qint64>{2};
    QTest::newRow("another folder") << url << u"/tmp"_s << QString() << QList<qint64>{};
    QTest::newRow("another URL") << u"http://a/x?q=2"_s << u"/home"_s << QString() << QList<qint64>{};
    QTest::newRow("another name") << url << u"/home"_s << u"z"_s << QList<qint64>{};
    QTest::newRow("what is finished is not found") << u"http://a/done"_s << u"/home"_s << QString() << QList<qint64>{};
}

void TestDownloadStore::whatIsUnfinishedIsFound()
{
    QFETCH(QString, url);
    QFETCH(QString, folder);
    QFETCH(QString, outputName);
    DownloadStore &list = *m_list;
    Info plain = recordOf(u"http://a/x?q=1"_s, u"/home"_s);
    Info named = recordOf(u"http://a/x?q=1"_s, u"/home"_s, u"y"_s);
    Info done = recordOf(u"http://a/done"_s, u"/home"_s);
    done.setFinished(true, true);
    for (Info *record : {&plain, &named, &done})
        QVERIFY(list.insert(*record) > 0);
    const QList<Info> found = list.findUnfinished(QUrl(url), folder, outputName);
    QVERIFY2(list.lastFailure().plain().isEmpty(), qPrintable(list.lastFailure().plain()));
    QTEST(idsOf(found), "ids");
}

void TestDownloadStore::whatIsFinishedIsFound_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("outputName");
    QTest::addColumn<QList<qint64>>("ids");

    const QString url = u"http://a/x?q=1"_s;
    QTest::newRow("the same URL and folder") << url << u"/home"_s << QString() << QList<qint64>{1};
    QTest::newRow("the name that was asked for") << url << u"/home"_s << u"y"_s << QList<qint64>{2};
    QTest::newRow("the name that the server gave") << url << u"/home"_s << u"served"_s << QList<qint64>{1};
    QTest::newRow("the name that it got on the disk") << url << u"/home"_s << u"y (1)"_s << QList<qint64>{2};
    QTest::newRow("another folder") << url << u"/tmp"_s << QString() << QList<qint64>{};
    QTest::newRow("another URL") << u"http://a/x?q=2"_s << u"/home"_s << QString() << QList<qint64>{};
    QTest::newRow("another name") << url << u"/home"_s << u"z"_s << QList<qint64>{};
    QTest::newRow("what is unfinished is not found")
        << u"http://a/open"_s << u"/home"_s << QString() << QList<qint64>{};
}

void TestDownloadStore::whatIsFinishedIsFound()
{
    QFETCH(QString, url);
    QFETCH(QString, folder);
    QFETCH(QString, outputName);
    DownloadStore &list = *m_list;
    Info plain = recordOf(u"http://a/x?q=1"_s, u"/home"_s);
    AbstractDownloadFileInfo served;
    served.name = u"served"_s;
    plain.files = {served};
    Info named = recordOf(u"http://a/x?q=1"_s, u"/home"_s, u"y"_s);
    named.files.first().pathOnDisk = u"y (1)"_s;
    const Info open = recordOf(u"http://a/open"_s, u"/home"_s);
    plain.setFinished(true, true);
    named.setFinished(true, true);
    for (Info record : {plain, named, open})
        QVERIFY(list.insert(record) > 0);
    const QList<Info> found = list.findFinished(QUrl(url), folder, outputName, 9);
    QVERIFY2(list.lastFailure().plain().isEmpty(), qPrintable(list.lastFailure().plain()));
    QTEST(idsOf(found), "ids");
}

void TestDownloadStore::theNewestFinishedAreFoundAndNoMore()
{
    DownloadStore &list = *m_list;
    Info done = recordOf(u"http://a/x"_s, u"/home"_s);
    done.setFinished(true, true);
    for (int i = 0; i < 4; ++i)
        QVERIFY(list.insert(done) > 0);
    QCOMPARE(idsOf(list.findFinished(done.url, done.folder, {}, 2)), (QList<qint64>{4, 3}));
}

void TestDownloadStore::theNewestUnfinishedComesFirst()
{
    DownloadStore &list = *m_list;
    Info older = recordOf(u"http://a/x"_s, u"/home"_s);
    Info newer = older;
    QVERIFY(list.insert(older) > 0);
    QVERIFY(list.insert(newer) > 0);
    QCOMPARE(idsOf(list.findUnfinished(older.url, older.folder, {})), (QList<qint64>{newer.id, older.id}));
}

void TestDownloadStore::unfinishedLeavesOutWhatIsFinished()
{
    DownloadStore &list = *m_list;
    Info open = recordOf(u"http://a/1"_s, u"/home"_s);
    Info done = recordOf(u"http://a/2"_s, u"/home"_s);
    done.setFinished(true, true);
    QVERIFY(list.insert(open) > 0);
    QVERIFY(list.insert(done) > 0);
    QCOMPARE(idsOf(list.loadUnfinished()), QList<qint64>{open.id});
    QCOMPARE(idsOf(list.list()), (QList<qint64>{open.id, done.id}));
}

void TestDownloadStore::optionsComeBack()
{
    DownloadStore &list = *m_list;
    Info record;
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.options(record.id), DownloadOptions());
    DownloadOptions options;
    options.rateLimit = Q_INT64_C(5000000000);
    options.connections = 7;
    options.connectionsPerServer = 3;
    options.checksumAlgorithm = u"sha-256"_s;
    options.checksumHex = u"00ff"_s;
    options.onChanged = 2;
    options.onUnresumable = 1;
    options.checksumResult = ChecksumResult::Different;
    options.skipExisting = true;
    options.user = u"ä"_s;
    options.password = u"p'"_s;
    options.storeSecrets = true;
    options.insecure = true;
    options.headers = {{u"X-A"_s, u"1"_s, u"http://a:80"_s}, {u"X-B"_s, u""_s, u"*"_s}, {u"X-C"_s, {}, {}}};
    QVERIFY2(list.setOptions(record.id, options), qPrintable(list.lastFailure().plain()));
    QCOMPARE(list.options(record.id), options);
    QVERIFY2(list.update(record), "saving the record leaves the options alone");
    QCOMPARE(list.options(record.id), options);
    QVERIFY(list.setOptions(record.id, {}));
    QCOMPARE(list.options(record.id), DownloadOptions());
    QVERIFY(!list.setOptions(record.id + 1, options));
    QVERIFY(list.remove(record.id));
    QCOMPARE(list.options(record.id), DownloadOptions());
}

void TestDownloadStore::theFilesIdentityStaysUntilAnotherIsKnown()
{
    DownloadStore &list = *m_list;
    Info record;
    QVERIFY(list.insert(record) > 0);
    QVERIFY(!list.fileIdentity(record.id).isKnown());
    const auto lasting = DownloadStore::Lasting::ThisRunOfTheMachine;
    QVERIFY(list.update(record, {{u"1:2"_s}, {}, {}}, lasting));
    QVERIFY(list.update(record, {}, lasting));
    QCOMPARE(list.fileIdentity(record.id).text, u"1:2"_s);
    QVERIFY(list.update(record, {{u"3:4"_s}, {}, {}}, lasting));
    QCOMPARE(list.fileIdentity(record.id).text, u"3:4"_s);
}

void TestDownloadStore::theEncodingStaysUntilAnotherIsSaid()
{
    DownloadStore &list = *m_list;
    Info record;
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.contentEncoding(record.id), QString());
    const auto lasting = DownloadStore::Lasting::ThisRunOfTheMachine;
    QVERIFY(list.update(record, {{}, u"gzip"_s, {}}, lasting));
    QVERIFY(list.update(record, {}, lasting));
    QVERIFY(list.update(record));
    QCOMPARE(list.contentEncoding(record.id), u"gzip"_s);
    Lease taken;
    QCOMPARE(list.claim(record.id, taken), DownloadStore::Claim::Taken);
    QCOMPARE(taken.contentEncoding, u"gzip"_s);
    QVERIFY(list.update(record, {{}, u""_s, {}}, lasting));
    QCOMPARE(list.contentEncoding(record.id), QString());
}

void TestDownloadStore::whatProvesTheFileComesBack()
{
    DownloadStore &list = *m_list;
    Info record;
    record.setFinished(true, true);
    QVERIFY(list.insert(record) > 0);
    QCOMPARE(list.page(ListFilter::All, 1).first().evidence, Evidence());
    ResourceMemory memory;
    memory.evidence.answers = 2;
    memory.evidence.doubt = Evidence::Doubt::WeakValidator;
    memory.evidence.isEndKnown = false;
    QVERIFY(list.update(record, {{}, {}, memory}, DownloadStore::Lasting::Always));
    QCOMPARE(list.memory(record.id), memory);
    QCOMPARE(list.page(ListFilter::All, 1).first().evidence, memory.evidence);
    QVERIFY(!list.page(ListFilter::All, 1).first().hasChecksum);

    QVERIFY(list.setDigestResult(record.id, ChecksumResult::Different));
    memory.evidence.digest = ChecksumResult::Different;
    QCOMPARE(list.memory(record.id), memory);
    const ListEntry entry = list.page(ListFilter::All, 1).first();
    QVERIFY(entry.hasChecksum);
    QCOMPARE(entry.checksumResult, ChecksumResult::Different);
}

void TestDownloadStore::aServersDigestIsToBeCompared()
{
    DownloadStore &list = *m_list;
    Info record;
    record.setFinished(true, true);
    QVERIFY(list.insert(record) > 0);
    ResourceMemory memory;
    KnownAddress address;
    address.url = QUrl(u"http://a/"_s);
    memory.addresses = {address};
    const auto lasting = DownloadStore::Lasting::Always;
    QVERIFY(list.update(record, {{}, {}, memory}, lasting));
    QCOMPARE(list.count(ListFilter::Unfinished), 0);

    memory.addresses.first().identity.digest = "md5=XrY7u+Ae7tCTyyK7j1rNww==";
    QVERIFY(list.update(record, {{}, {}, memory}, lasting));
    const QList<ListEntry> found = list.page(ListFilter::Unfinished, 2);
    QCOMPARE(idsOf(found), QList<qint64>{record.id});
    QVERIFY(found.first().hasChecksum);
    QCOMPARE(found.first().checksumResult, ChecksumResult::NotCompared);

    QCOMPARE(list.count(ListFilter::Done), 0);

    QVERIFY(list.setDigestResult(record.id, ChecksumResult::Equal));
    QCOMPARE(list.count(ListFilter::Unfinished), 0);
    QCOMPARE(list.count(ListFilter::Done), 1);
    QVERIFY(list.setDigestResult(record.id, ChecksumResult::NotCompared));
    memory.evidence.doubt = Evidence::Doubt::FinishedEarly;
    QVERIFY(list.update(record, {{}, {}, memory}, lasting));
    QVERIFY2(list.page(ListFilter::Unfinished, 2).isEmpty(), "it is another file to the digest");
    QVERIFY(!list.page(ListFilter::All, 2).first().hasChecksum);

    memory.evidence.doubt = Evidence::Doubt::None;
    QVERIFY(list.update(record, {{}, {}, memory}, lasting));
    DownloadOptions options;
    options.checksumAlgorithm = u"md5"_s;
    options.checksumHex = QString(32, u'0');
    options.checksumResult = ChecksumResult::Equal;
    QVERIFY(list.setOptions(record.id, options));
    QVERIFY2(list.page(ListFilter::Unfinished, 2).isEmpty(), "a person's checksum counts in its place");
}

void TestDownloadStore::whatAListIsToNameIsToBeCompared()
{
    DownloadStore &list = *m_list;
    Info record;
    record.setFinished(true, true);
    QVERIFY(list.insert(record) > 0);
    DownloadOptions options;
    options.checksumSource = u"http://a/SHA256SUMS"_s;
    QVERIFY(list.setOptions(record.id, options));
    QCOMPARE(list.options(record.id), options);
    QCOMPARE(list.count(ListFilter::Unfinished), 1);
    QCOMPARE(list.count(ListFilter::Done), 0);
    options.checksumSource = u"auto"_s;
    QVERIFY(list.setOptions(record.id, options));
    QCOMPARE(list.count(ListFilter::Done), 1);
}

/// Pages and counts agree with what a line says of itself, whoever compared it.
void TestDownloadStore::doneIsWhatNothingSpeaksAgainst_data()
{
    QTest::addColumn<std::optional<ChecksumResult>>("given");
    QTest::addColumn<ChecksumResult>("servers");
    QTest::addColumn<bool>("isDone");
    using Result = ChecksumResult;
    using Given = std::optional<Result>;
    QTest::newRow("nothing was compared") << Given() << Result::NotCompared << true;
    QTest::newRow("the server's digest is right") << Given() << Result::Equal << true;
    QTest::newRow("it is another file to the server's digest") << Given() << Result::Different << false;
    QTest::newRow("the checksum is right") << Given(Result::Equal) << Result::NotCompared << true;
    QTest::newRow("the checksum is wrong") << Given(Result::Different) << Result::NotCompared << false;
    QTest::newRow("the checksum is still to be compared") << Given(Result::NotCompared) << Result::Equal << false;
    QTest::newRow("a checksum counts in the place of a digest") << Given(Result::Equal) << Result::Different << true;
    QTest::newRow("also where it is wrong") << Given(Result::Different) << Result::Equal << false;
}

void TestDownloadStore::doneIsWhatNothingSpeaksAgainst()
{
    QFETCH(std::optional<ChecksumResult>, given);
    QFETCH(ChecksumResult, servers);
    DownloadStore &list = *m_list;
    Info record;
    record.setFinished(true, true);
    QVERIFY(list.insert(record) > 0);
    ResourceMemory memory;
    memory.evidence.answers = 1;
    QVERIFY(list.update(record, {{}, {}, memory}, DownloadStore::Lasting::Always));
    QVERIFY(list.setDigestResult(record.id, servers));
    DownloadOptions options;
    options.checksumAlgorithm = given ? u"md5"_s : QString();
    options.checksumHex = given ? QString(32, u'0') : QString();
    options.checksumResult = given.value_or(ChecksumResult::NotCompared);
    QVERIFY(list.setOptions(record.id, options));
    QTEST(list.page(ListFilter::All, 1).first().isDone(), "isDone");
    QTEST(list.count(ListFilter::Done) == 1, "isDone");
    for (const ListOrder order : {ListOrder::Place, ListOrder::Newest, ListOrder::Name})
        QTEST(list.page(ListFilter::Done, order, 0, 1).size() == 1, "isDone");
}

/// Whoever it is that has it now: also this process again.
void TestDownloadStore::whoLostItsClaimWritesNothing()
{
    DownloadStore &list = *m_list;
    Info record;
    QVERIFY(list.insert(record) > 0);
    Lease first;
    QCOMPARE(list.claim(record.id, first), DownloadStore::Claim::Taken);
    Lease same;
    QCOMPARE(list.claim(record.id, same), DownloadStore::Claim::Taken);
    QCOMPARE(same.fence, first.fence);
    QVERIFY(list.release(record.id));
    Lease second;
    QCOMPARE(list.claim(record.id, second), DownloadStore::Claim::Taken);
    QVERIFY(second.fence > first.fence);

    QVERIFY(!list.lostTo(record.id, second.fence));
    QCOMPARE(list.lostTo(record.id, first.fence).kind, Failure::Kind::OwnedByOther);

    const auto lasting = DownloadStore::Lasting::Always;
    record.title = u"late"_s;
    ResourceMemory memory;
    memory.evidence.answers = 1;
    QVERIFY(!list.update(record, {{}, u"gzip"_s, memory, first.fence}, lasting));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::OwnedByOther);
    QVERIFY(list.load(record.id)->title.isEmpty());
    QCOMPARE(list.contentEncoding(record.id), QString());
    QCOMPARE(list.memory(record.id), ResourceMemory());
    DownloadOptions options;
    options.rateLimit = 7;
    QVERIFY(!list.setOptions(record.id, options, first.fence));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::OwnedByOther);
    QVERIFY(!list.setDigestResult(record.id, ChecksumResult::Equal, first.fence));
    QVERIFY(!list.remove(record.id, first.fence));
    QCOMPARE(list.options(record.id).rateLimit, 0);
    QVERIFY(list.update(record, {{}, {}, {}, second.fence}, lasting));
    QCOMPARE(list.load(record.id)->title, u"late"_s);
    QVERIFY(list.setOptions(record.id, options, second.fence));
    QVERIFY(list.setDigestResult(record.id, ChecksumResult::Equal, second.fence));
    QCOMPARE(list.options(record.id).rateLimit, 7);
    QVERIFY(list.remove(record.id, second.fence));
}

/// Who removed it has taken it before.
void TestDownloadStore::whoseDownloadIsRemovedHasLostIt()
{
    DownloadStore &list = *m_list;
    Info record;
    QVERIFY(list.insertOwned(record, {}) > 0);
    Lease lease;
    QCOMPARE(list.claim(record.id, lease), DownloadStore::Claim::Taken);
    QVERIFY(list.remove(record.id));
    QCOMPARE(list.lostTo(record.id, lease.fence).kind, Failure::Kind::OwnedByOther);
    QVERIFY(!list.update(record, {{}, {}, {}, lease.fence}, DownloadStore::Lasting::Always));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::OwnedByOther);
    QCOMPARE(list.lastFailure().number, 0);
    QVERIFY(!list.setOptions(record.id, {}, lease.fence));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::OwnedByOther);
    QVERIFY(!list.setOptions(record.id, {}));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::CannotChangeList);
}

void TestDownloadStore::aPageShowsTheNewestFirst()
{
    DownloadStore &list = *m_list;
    QVERIFY(list.page(ListFilter::All, 10).isEmpty());
    for (int i = 0; i < 6; ++i) {
        Info record;
        record.setFinished(i % 3 == 0, true);
        QVERIFY(list.insert(record) > 0);
    }
    QCOMPARE(idsOf(list.page(ListFilter::All, 10)), (QList<qint64>{6, 5, 4, 3, 2, 1}));
    QCOMPARE(idsOf(list.page(ListFilter::Done, 10)), (QList<qint64>{4, 1}));
    QCOMPARE(idsOf(list.page(ListFilter::Unfinished, 3)), (QList<qint64>{6, 5, 3}));
    QCOMPARE(list.count(ListFilter::All), 6);
    QCOMPARE(list.count(ListFilter::Done), 2);
    QCOMPARE(list.count(ListFilter::Unfinished), 4);
}

void TestDownloadStore::pagesGoOnWhereTheLastOneEnded()
{
    DownloadStore &list = *m_list;
    for (int i = 0; i < 5; ++i) {
        Info record;
        QVERIFY(list.insert(record) > 0);
    }
    const QList<ListEntry> first = list.page(ListFilter::All, 2);
    const QList<ListEntry> second = list.page(ListFilter::All, 2, first.last().id);
    const QList<ListEntry> third = list.page(ListFilter::All, 2, second.last().id);
    QCOMPARE(idsOf(first + second + third), (QList<qint64>{5, 4, 3, 2, 1}));
    QVERIFY(list.page(ListFilter::All, 2, third.last().id).isEmpty());
}

void TestDownloadStore::aPageShowsWhatALineNeeds()
{
    DownloadStore &list = *m_list;
    Info record = recordOf(u"http://a/b c"_s, u"/home"_s, u"x.iso"_s);
    record.creationTime = QDateTime({2024, 3, 1}, {1, 30, 0, 250}, Qt::UTC);
    record.setLastError({404, "HttpError", "here,1", "no such thing"});
    record.files.first().size = 500;
    record.files.first().sections = {{0, 100, 40}, {100, 400, 30}};
    QVERIFY(list.insert(record) > 0);
    Info finished = recordOf(u"http://a/2"_s, u"/home"_s);
    finished.setFinished(true, true);
    QVERIFY(list.insert(finished) > 0);
    QCOMPARE(list.claim(record.id), DownloadStore::Claim::Taken);

    const QList<ListEntry> entries = list.page(ListFilter::All, 10);
    QCOMPARE(entries.size(), 2);
    const ListEntry &line = entries.last();
    QCOMPARE(line.id, record.id);
    QCOMPARE(line.name, u"x.iso"_s);
    QCOMPARE(line.url, record.url);
    QCOMPARE(line.folder, u"/home"_s);
    QCOMPARE(line.size, 500);
    QCOMPARE(line.done, 70);
    QVERIFY(!line.finished);
    QCOMPARE(line.owner.pid, qint64(QCoreApplication::applicationPid()));
    QCOMPARE(line.error, record.lastError);
    QCOMPARE(line.creationTime, record.creationTime);
    QVERIFY(line.errorTime.isValid() && !line.finishedTime.isValid());
    QVERIFY(entries.first().finished && entries.first().finishedTime.isValid());
    QCOMPARE(entries.first().size, -1);
    QCOMPARE(entries.first().done, 0);
    QVERIFY(!entries.first().error && entries.first().name.isEmpty() && entries.first().owner.pid == 0);
}

void TestDownloadStore::secretsAreForgottenUnlessTheyAreToBeKept()
{
    DownloadStore &list = *m_list;
    Info record;
    DownloadOptions options;
    options.user = u"somebody"_s;
    options.password = u"secret"_s;
    options.headers = {{u"X-Token"_s, u"secret"_s, u"http://a:80"_s}};
    QVERIFY(list.insertOwned(record, options) > 0);
    QVERIFY(list.options(record.id).user.isEmpty() && list.options(record.id).password.isEmpty());
    QCOMPARE(list.options(record.id).headers, (QList<SecretHeader>{{u"X-Token"_s, {}, u"http://a:80"_s}}));
    options.storeSecrets = true;
    QVERIFY(list.setOptions(record.id, options));
    QCOMPARE(list.options(record.id), options);
}

void TestDownloadStore::whatRunsIsOwned()
{
    DownloadStore &list = *m_list;
    Info record;
    QVERIFY(list.insert(record) > 0);
    QVERIFY2(!list.release(record.id), "nobody has taken it");
    QVERIFY(!list.lastFailure().plain().isEmpty());
    Lease taken;
    QCOMPARE(list.claim(record.id, taken), DownloadStore::Claim::Taken);
    QCOMPARE(taken.record, record);
    QCOMPARE(list.claim(record.id), DownloadStore::Claim::Taken);
    QCOMPARE(list.page(ListFilter::All, 1).first().owner.pid, qint64(QCoreApplication::applicationPid()));
    QVERIFY(list.release(record.id) && !list.release(record.id));
    QCOMPARE(list.page(ListFilter::All, 1).first().owner.pid, 0);
    QCOMPARE(list.claim(77), DownloadStore::Claim::Failed);
}

void TestDownloadStore::whatHappensTogetherHappensAltogether()
{
    DownloadStore &list = *m_list;
    Info first;
    Info second;
    const bool done = list.together([&](DownloadStore &store) {
        return store.insertOwned(first, {}) != 0 && store.insert(second) != 0 && store.count(ListFilter::All) == 2;
    });
    QVERIFY2(done, qPrintable(list.lastFailure().plain()));
    QVERIFY(second.id > first.id);
    QCOMPARE(idsOf(list.list()), (QList<qint64>{first.id, second.id}));
}

void TestDownloadStore::whatFailsTogetherLeavesNothing()
{
    DownloadStore &list = *m_list;
    Info known = recordOf(u"http://a/1"_s, u"/f"_s);
    QVERIFY(list.insert(known) != 0);
    Info renamed = known;
    renamed.title = u"new"_s;
    const auto change = [&](DownloadStore &store) {
        Info inserted;
        return store.insert(inserted) != 0 && store.update(renamed)
            && store.claim(known.id) == DownloadStore::Claim::Taken;
    };
    QVERIFY(!list.together([&](DownloadStore &store) { return change(store) && false; }));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::None);
    QCOMPARE(list.list(), QList<Info>{known});
    // What fails without being asked about is no success, either.
    QVERIFY(!list.together([&](DownloadStore &store) { return !store.remove(77) && change(store); }));
    QCOMPARE(list.lastFailure().kind, Failure::Kind::CannotChangeList);
    QCOMPARE(list.list(), QList<Info>{known});
    QVERIFY(list.together(change));
    QCOMPARE(list.load(known.id)->title, u"new"_s);
}

void TestDownloadStore::aLeaseShowsTheLineOfTheList()
{
    DownloadStore &list = *m_list;
    for (quint32 seed = 0; seed < kRandomRecords; ++seed) {
        Info record = randomRecord(seed);
        // More would have no sum.
        for (AbstractDownloadFileInfo &file : record.files) {
            file.size = qint64(seed) - 10;
            for (AbstractDownloadSection &section : file.sections)
                section.downloaded = seed;
        }
        DownloadOptions options;
        options.checksumAlgorithm = seed % 3 == 0 ? u"md5"_s : QString();
        QVERIFY(list.insertOwned(record, options) != 0);
        Lease lease;
        QCOMPARE(list.claim(record.id, lease), DownloadStore::Claim::Taken);
        QVERIFY(list.release(record.id));
        const ListEntry known = list.page(ListFilter::All, 1).constFirst();
        const ListEntry line = lease.entry();
        QCOMPARE(line.id, known.id);
        QCOMPARE(line.name, known.name);
        QCOMPARE(line.url, known.url);
        QCOMPARE(line.size, known.size);
        QCOMPARE(line.done, known.done);
        QCOMPARE(line.finished, known.finished);
        QCOMPARE(line.hasChecksum, known.hasChecksum);
        QCOMPARE(line.checksumResult, known.checksumResult);
        QVERIFY(line.error == known.error);
        QCOMPARE(line.creationTime, known.creationTime);
        QCOMPARE(line.finishedTime, known.finishedTime);
    }
}

QTEST_GUILESS_MAIN(TestDownloadStore)
#include "tst_downloadstore.moc"
