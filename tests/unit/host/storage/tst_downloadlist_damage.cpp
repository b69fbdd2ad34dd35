// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <tests/unit/host/storage/shell.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

bool write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

}

/// Files that are no list, or no longer: what is set aside, and what is left alone.
class TestDownloadListDamage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aFileThatIsNoDatabaseIsSetAside();
    void aDamagedListIsSetAside();
    void damageThatIsFoundLaterIsSetAside();
    void whatWasSetAsideIsNotKeptOpen();
    void whatWasSetAsideIsNotReplaced();
    void anotherProgramsDatabaseIsLeftAlone();
    void aListOfALaterVersionIsLeftAlone();

private:
    QString folder() const { return m_dir->filePath(u"data/plait"_s); }
    QString path() const { return folder() + "/downloads.sqlite"_L1; }
    /// Names of the lists that were set aside.
    QStringList setAside() const
    {
        const QStringList names = QDir(folder()).entryList({u"*.damaged-*"_s}, QDir::Files);
        return names.filter(QRegularExpression(u"\\d$"_s));
    }
    /// @param name a path, or a name in the list's folder
    QByteArray read(const QString &name) const
    {
        QFile file(QDir(folder()).filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// A list whose table begins with nonsense; @param table empty = the last quarter of the file is nonsense
    void fillAndDamage(const QString &table) const;
    void openList(DownloadList &list) const { QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain())); }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestDownloadListDamage::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestDownloadListDamage::fillAndDamage(const QString &table) const
{
    qint64 page = 0;
    {
        DownloadList list;
        openList(list);
        Info record;
        record.title = QString(1000, u't');
        QVERIFY(list.insert(record) > 0);
        const Shell shell(path());
        QVERIFY(shell.multiply(record.id, 500));
        page = shell.value(u"SELECT rootpage FROM sqlite_master WHERE name = '%1'"_s.arg(table)).toLongLong();
    }
    constexpr qint64 kPage = 4096;
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadWrite));
    const qint64 begin = table.isEmpty() ? file.size() / kPage * 3 / 4 * kPage : (page - 1) * kPage;
    const qint64 size = table.isEmpty() ? file.size() - begin : kPage;
    QVERIFY(begin >= kPage && file.seek(begin) && file.write(QByteArray(size, '\xff')) == size);
}

void TestDownloadListDamage::aFileThatIsNoDatabaseIsSetAside()
{
    const QByteArray text(8192, 'x');
    QVERIFY(QDir().mkpath(folder()) && write(path(), text));
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    QCOMPARE(list.warning().kind, Failure::Kind::ListDamaged);
    QCOMPARE(list.warning().subject.path, path());
    const QStringList aside = setAside();
    QCOMPARE(aside.size(), 1);
    QVERIFY(QRegularExpression(u"^downloads\\.sqlite\\.damaged-\\d{8}-\\d{6}$"_s).match(aside.first()).hasMatch());
    QVERIFY(list.warning().subject.keptAs.contains(aside.first()));
    QCOMPARE(read(aside.first()), text);
    Info record;
    QVERIFY(list.insert(record) > 0);
    DownloadList again;
    openList(again);
    QVERIFY(!again.warning());
    QCOMPARE(again.list().size(), 1);
}

void TestDownloadListDamage::aDamagedListIsSetAside()
{
    fillAndDamage(u"downloads"_s);
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    QVERIFY(list.warning());
    QCOMPARE(setAside().size(), 1);
    QVERIFY(list.list().isEmpty());
    QVERIFY(list.lastFailure().plain().isEmpty());
}

void TestDownloadListDamage::damageThatIsFoundLaterIsSetAside()
{
    // The first rows are whole, so that opening finds nothing.
    fillAndDamage({});
    DownloadList list;
    openList(list);
    QVERIFY(!list.warning());
    QVERIFY(list.list().isEmpty());
    QCOMPARE(list.lastFailure().kind, Failure::Kind::ListDamaged);
    QVERIFY(list.warning());
    QCOMPARE(setAside().size(), 1);
    Info record;
    QVERIFY2(list.insert(record) > 0, "the new list is at work");
}

void TestDownloadListDamage::whatWasSetAsideIsNotKeptOpen()
{
    fillAndDamage({});
    DownloadList list;
    openList(list);
    QCOMPARE(list.load(1)->id, 1);
    Info record;
    QVERIFY2(list.list().isEmpty(), "the damage is found while a statement is read");
    QCOMPARE(setAside().size(), 1);
    const QDir descriptors(u"/proc/self/fd"_s);
    const QStringList names = descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        QVERIFY(!QFile::symLinkTarget(descriptors.filePath(name)).contains(u".damaged-"_s));
    QVERIFY2(!list.load(1), "the same statement reads the new list");
    QVERIFY(list.lastFailure().plain().isEmpty());
    QCOMPARE(list.insert(record), 1);
    QCOMPARE(list.load(1), record);
}

void TestDownloadListDamage::whatWasSetAsideIsNotReplaced()
{
    QVERIFY(QDir().mkpath(folder()));
    for (int i = 1; i <= 3; ++i) {
        QVERIFY(write(path(), QByteArray(1000, char('a' + i))));
        DownloadList list;
        QVERIFY(list.open(path()));
        QCOMPARE(setAside().size(), i);
    }
    QByteArrayList contents;
    const QStringList names = setAside();
    for (const QString &name : names)
        contents.append(read(name).left(1));
    std::sort(contents.begin(), contents.end());
    QCOMPARE(contents, (QByteArrayList{"b", "c", "d"}));
}

void TestDownloadListDamage::anotherProgramsDatabaseIsLeftAlone()
{
    QVERIFY(QDir().mkpath(folder()));
    QVERIFY(Shell(path()).value(u"CREATE TABLE songs (title TEXT)"_s).isNull());
    const QByteArray before = read(path());
    DownloadList list;
    QVERIFY(!list.open(path()));
    QVERIFY2(list.lastFailure().plain().contains(u"of-another-program"_s), qPrintable(list.lastFailure().plain()));
    QVERIFY(setAside().isEmpty());
    QCOMPARE(Shell(path()).value(u"SELECT count(*) FROM songs"_s).toInt(), 0);
}

void TestDownloadListDamage::aListOfALaterVersionIsLeftAlone()
{
    {
        DownloadList list;
        openList(list);
        Info record;
        QVERIFY(list.insert(record) > 0);
    }
    QVERIFY(Shell(path()).value(u"PRAGMA user_version = 99"_s).isNull());
    DownloadList list;
    QVERIFY(!list.open(path()));
    QVERIFY2(list.lastFailure().plain().contains(u"of-later-tables("_s), qPrintable(list.lastFailure().plain()));
    QVERIFY(setAside().isEmpty());
    QCOMPARE(Shell(path()).value(u"SELECT count(*) FROM downloads"_s).toInt(), 1);
}

QTEST_GUILESS_MAIN(TestDownloadListDamage)
#include "tst_downloadlist_damage.moc"
