// SPDX-License-Identifier: MIT
#include <host/storage/replacedfile.h>

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

using Action = AbstractDownloadFileExistsAction;
using Reaction = AbstractDownloadExistingFileReaction;
using Info = AbstractDownloadPersistentInfo;
using File = AbstractDownloadFileInfo;

Q_DECLARE_METATYPE(std::optional<Action>)

/// A file of a finished download that stays until another one is there.
class TestReplacedFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itsRecordBeginsAnew();
    void theNextOneGetsItsName_data();
    void theNextOneGetsItsName();
    void onlyTheVeryFileIsReplaced_data();
    void onlyTheVeryFileIsReplaced();
    void oneThatNobodyWantsGoesForAnyNewOne();
    void whatIsSaidOfOthersLaterIsNotSaidOfIt();
    void anEmptyFileIsReplacedAsLongAsItIsEmpty_data();
    void anEmptyFileIsReplacedAsLongAsItIsEmpty();
    void ofOtherDownloadsNothingIsSaid();

private:
    Info finished(const QString &name, const QString &onDisk) const;
    bool make(const QString &name) const;
    QString path(const QString &name) const { return m_dir.filePath(name); }

    QTemporaryDir m_dir;
};

bool TestReplacedFile::make(const QString &name) const
{
    QFile::remove(path(name));
    QFile file(path(name));
    return file.open(QIODevice::WriteOnly) && file.write("x") == 1;
}

Info TestReplacedFile::finished(const QString &name, const QString &onDisk) const
{
    Info record;
    record.folder = m_dir.path();
    File file;
    file.name = name;
    file.pathOnDisk = onDisk;
    file.size = 1;
    file.fileFlags = File::CreatedOnDisk | File::FinalOnDisk;
    file.sections = {{0, 1, 1}};
    record.files = {file};
    record.setFinished(true, true);
    return record;
}

void TestReplacedFile::itsRecordBeginsAnew()
{
    QVERIFY(make(u"f.bin"_s));
    Info record = finished(u"f.bin"_s, u"f.bin"_s);
    ReplacedFile::plan(record, {}, false);
    QVERIFY(ReplacedFile::isPlanned(record) && !record.isFinished() && record.files.isEmpty());
    QCOMPARE(record.existingFileReaction, Reaction::Ask);
    QVERIFY2(QFile::exists(path(u"f.bin"_s)), "it stays");
}

void TestReplacedFile::theNextOneGetsItsName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("onDisk");
    QTest::addColumn<QString>("preset");
    QTest::newRow("that of its server") << u"f.bin"_s << u"f.bin"_s << QString();
    QTest::newRow("with a number") << u"f.bin"_s << u"f (1).bin"_s << u"f (1)"_s;
    QTest::newRow("with a number and two endings") << u"f.tar.gz"_s << u"f.tar (1).gz"_s << u"f.tar (1)"_s;
    QTest::newRow("without an ending") << u"f"_s << u"f (2)"_s << u"f (2)"_s;
}

void TestReplacedFile::theNextOneGetsItsName()
{
    QFETCH(QString, name);
    QFETCH(QString, onDisk);
    Info record = finished(name, onDisk);
    ReplacedFile::plan(record, {}, false);
    QTEST(record.presetFileName, "preset");
    Info named = finished(name, onDisk);
    named.setFlag(Info::RenameBlocked, true);
    ReplacedFile::plan(named, {}, false);
    QCOMPARE(named.files.first().name, name);
    QVERIFY(named.presetFileName.isEmpty());
}

void TestReplacedFile::onlyTheVeryFileIsReplaced_data()
{
    QTest::addColumn<Reaction>("reaction");
    QTest::addColumn<QStringList>("inTheWay");
    QTest::addColumn<bool>("isExchanged");
    QTest::addColumn<bool>("mayReplace");
    QTest::addColumn<std::optional<Action>>("action");
    const QStringList it{u"f.bin"_s};
    const QStringList other{u"g.bin"_s};
    const QStringList two{u"f.bin"_s, u"f.bin.part"_s};
    const std::optional<Action> nothing;
    const auto row = [](const char *name, Reaction reaction, const QStringList &inTheWay, bool isExchanged,
                        bool mayReplace, const std::optional<Action> &action) {
        QTest::newRow(name) << reaction << inTheWay << isExchanged << mayReplace << action;
    };
    row("it is", Reaction::NotSet, it, false, true, Action::Overwrite);
    row("also where others are left alone", Reaction::Skip, it, false, true, Action::Overwrite);
    row("another file of its name is not", Reaction::NotSet, it, true, true, Action::Rename);
    row("nor one of another name", Reaction::Rename, other, false, true, Action::Rename);
    row("nor what somebody has begun beside it", Reaction::NotSet, two, false, true, Action::Rename);
    row("a new one that proves nothing stands beside it", Reaction::NotSet, it, false, false, Action::Rename);
    row("even where others are overwritten", Reaction::Overwrite, it, false, false, Action::Rename);
    row("others are, where somebody said so", Reaction::Overwrite, other, false, true, Action::Overwrite);
    row("or left alone", Reaction::Skip, other, false, true, Action::Skip);
    row("or asked about", Reaction::Ask, other, false, true, nothing);
}

void TestReplacedFile::onlyTheVeryFileIsReplaced()
{
    QFETCH(Reaction, reaction);
    QFETCH(QStringList, inTheWay);
    QFETCH(bool, isExchanged);
    QFETCH(bool, mayReplace);
    for (const QString &name : {u"f.bin"_s, u"g.bin"_s, u"f.bin.part"_s})
        QVERIFY(make(name));
    QVERIFY(FileIdentity::of(path(u"f.bin"_s)).isKnown());
    Info record = finished(u"f.bin"_s, u"f.bin"_s);
    record.existingFileReaction = reaction;
    ReplacedFile::plan(record, {}, false);
    if (isExchanged)
        QVERIFY(QFile::rename(path(u"f.bin"_s), path(u"old"_s)) && make(u"f.bin"_s));
    QStringList paths;
    for (const QString &name : std::as_const(inTheWay))
        paths.append(path(name));
    QTEST(ReplacedFile::answer(record, paths, mayReplace), "action");
    // What it was before is known however often it is planned.
    record.setFinished(true, true);
    ReplacedFile::plan(record, {}, false);
    QCOMPARE(ReplacedFile::answer(record, {path(u"g.bin"_s)}, true).has_value(), reaction != Reaction::Ask);
}

void TestReplacedFile::oneThatNobodyWantsGoesForAnyNewOne()
{
    QVERIFY(make(u"f.bin"_s) && make(u"g.bin"_s));
    Info record = finished(u"f.bin"_s, u"f.bin"_s);
    ReplacedFile::plan(record, {}, true);
    QCOMPARE(ReplacedFile::answer(record, {path(u"f.bin"_s)}, false), Action::Overwrite);
    QCOMPARE(ReplacedFile::answer(record, {path(u"g.bin"_s)}, false), Action::Rename);
}

void TestReplacedFile::whatIsSaidOfOthersLaterIsNotSaidOfIt()
{
    QVERIFY(make(u"f.bin"_s) && make(u"g.bin"_s));
    Info record = finished(u"f.bin"_s, u"f.bin"_s);
    ReplacedFile::plan(record, {}, false);
    for (const auto &[said, action] : {std::pair(Reaction::Rename, Action::Rename), {Reaction::Skip, Action::Skip}}) {
        ReplacedFile::setReaction(record, said);
        QCOMPARE(ReplacedFile::answer(record, {path(u"f.bin"_s)}, true), Action::Overwrite);
        QCOMPARE(ReplacedFile::answer(record, {path(u"g.bin"_s)}, true), action);
    }
    Info other;
    ReplacedFile::setReaction(other, Reaction::Skip);
    QCOMPARE(other.existingFileReaction, Reaction::Skip);
}

void TestReplacedFile::anEmptyFileIsReplacedAsLongAsItIsEmpty_data()
{
    QTest::addColumn<Reaction>("reaction");
    QTest::newRow("where nothing was said of others") << Reaction::NotSet;
    QTest::newRow("where others are left alone") << Reaction::Skip;
    QTest::newRow("where others are overwritten") << Reaction::Overwrite;
}

void TestReplacedFile::anEmptyFileIsReplacedAsLongAsItIsEmpty()
{
    QFETCH(Reaction, reaction);
    QVERIFY(make(u"f.bin"_s) && QFile::resize(path(u"f.bin"_s), 0));
    Info record;
    record.folder = m_dir.path();
    record.existingFileReaction = reaction;
    ReplacedFile::planEmpty(record, path(u"f.bin"_s));
    QVERIFY(ReplacedFile::isPlanned(record));
    for (const bool mayReplace : {false, true})
        QCOMPARE(ReplacedFile::answer(record, {path(u"f.bin"_s)}, mayReplace), Action::Overwrite);
    QVERIFY(QFile::resize(path(u"f.bin"_s), 1));
    const auto action = ReplacedFile::answer(record, {path(u"f.bin"_s)}, true);
    QVERIFY2(action && *action != Action::Overwrite, "somebody has written to it");
}

void TestReplacedFile::ofOtherDownloadsNothingIsSaid()
{
    QVERIFY(make(u"f.bin"_s));
    Info record = finished(u"f.bin"_s, u"f.bin"_s);
    QVERIFY(!ReplacedFile::isPlanned(record));
    QVERIFY(!ReplacedFile::answer(record, {path(u"f.bin"_s)}, true));
}

QTEST_GUILESS_MAIN(TestReplacedFile)
#include "tst_replacedfile.moc"
