// SPDX-License-Identifier: MIT
#include <host/storage/downloadlist.h>
#include <host/storage/listcheck.h>
#include <host/storage/listrepair.h>
#include <host/storage/schema.h>
#include <host/storage/sqldatabase.h>
#include <tests/unit/host/storage/shell.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Info = AbstractDownloadPersistentInfo;

/// Stands in every value that nobody may find, and nowhere else.
const QByteArray kSecret = QByteArrayLiteral("s3cr3t");

const QString kEarlierVersion[] = {
    u"PRAGMA journal_mode = WAL"_s,
    u"PRAGMA secure_delete = OFF"_s,
    u"UPDATE downloads SET parameters = '{\"depth\":2,\"headers\":{\"X-Count\":3,\"Accept-Language\":\"en\","
    u"\"X-Odd\":\"s3cr3t-parameters\"}}'"_s,
    u"INSERT INTO headers VALUES (1, 0, 'Accept', 'a/b'), (1, 1, 'X-Vault-Token', 's3cr3t-token'),"
    u"(1, 2, 'Range', 's3cr3t-range'), (1, 3, 'cookie', 's3cr3t-cookie')"_s,
    // Enough that pages are free afterwards.
    u"WITH RECURSIVE n(i) AS (SELECT 10 UNION ALL SELECT i + 1 FROM n WHERE i < 400) "
    u"INSERT INTO headers SELECT 1, i, 'X-Old-' || i, 's3cr3t-freed' || hex(randomblob(100)) FROM n"_s,
    u"DELETE FROM headers WHERE position >= 10"_s,
};

}

/// What the list's file has of the headers that let somebody in, to the last byte.
class TestListSecrets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void namesStayAndValuesLeaveTheFile();
    void whatCouldNotLeaveAtOnceLeavesLater();
    void aNewListHasNothingToWipe();
    void valuesAreKeptOnlyWhereAskedFor();
    void whatIsRemovedLeavesTheFile();
    void valuesOfADamagedListAreLeftBehind();
    void keptValuesAreBroughtOverFromADamagedList();

private:
    QString path() const { return m_dir->filePath(u"downloads.sqlite"_s); }
    QString asidePath() const { return m_dir->filePath(u"downloads.sqlite.damaged-20240101-000000"_s); }
    void makeEarlierList(const QString &path) const;
    /// Names of the files that hold it.
    QStringList filesWithSecret() const;

    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestListSecrets::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestListSecrets::makeEarlierList(const QString &path) const
{
    QFile script(QStringLiteral(FIRST_SCHEMA));
    QVERIFY(script.open(QIODevice::ReadOnly));
    SqlDatabase database;
    QVERIFY(database.open(path));
    const QList<QByteArray> statements = script.readAll().split(';');
    for (const QByteArray &statement : statements)
        QVERIFY(statement.trimmed().isEmpty() || database.run(QString::fromUtf8(statement)));
    for (const QString &statement : kEarlierVersion)
        QVERIFY2(database.run(statement), qPrintable(statement));
}

QStringList TestListSecrets::filesWithSecret() const
{
    QStringList names;
    const QStringList files = QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden);
    for (const QString &name : files) {
        QFile file(m_dir->filePath(name));
        if (file.open(QIODevice::ReadOnly) && file.readAll().contains(kSecret))
            names.append(name);
    }
    return names;
}

void TestListSecrets::namesStayAndValuesLeaveTheFile()
{
    makeEarlierList(path());
    QVERIFY(filesWithSecret().contains(u"downloads.sqlite"_s));
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    QCOMPARE(filesWithSecret(), QStringList());
    const std::optional<Info> record = list.load(1);
    QVERIFY(record);
    QCOMPARE(record->parameters, (QVariantMap{{u"depth"_s, 2}, {u"headers"_s, QVariantMap{{u"Accept"_s, u"a/b"_s}}}}));
    QStringList names;
    const DownloadOptions options = list.options(1);
    for (const SecretHeader &header : options.headers) {
        names.append(header.name);
        QVERIFY(header.value.isNull() && header.origin.isEmpty());
    }
    QCOMPARE(names, (QStringList{u"X-Vault-Token"_s, u"cookie"_s, u"X-Count"_s, u"X-Odd"_s}));
    QVERIFY(ListCheck::look(path()).problems.isEmpty());
    QVERIFY(list.setOptions(1, {}) && list.update(*record));
    QCOMPARE(list.options(1), DownloadOptions());
}

void TestListSecrets::whatCouldNotLeaveAtOnceLeavesLater()
{
    makeEarlierList(path());
    {
        // Its view of the list is to stay as it is: what it may still read cannot be overwritten.
        SqlDatabase reader;
        QVERIFY(reader.open(path(), SqlDatabase::Access::Write, 0));
        QVERIFY(reader.run(u"BEGIN"_s) && reader.run(u"SELECT count(*) FROM headers"_s));
        SqlDatabase upgraded;
        QVERIFY(upgraded.open(path(), SqlDatabase::Access::Write, 0));
        Clause ignored;
        QCOMPARE(Schema::upgrade(upgraded, &ignored), Schema::Outcome::Done);
        QVERIFY(!filesWithSecret().isEmpty());
        QVERIFY(ListCheck::look(path()).problems.isEmpty());
    }
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    QCOMPARE(filesWithSecret(), QStringList());
    QCOMPARE(list.options(1).headers.size(), 4);
}

void TestListSecrets::aNewListHasNothingToWipe()
{
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    QCOMPARE(Shell(path()).value(u"SELECT count(*) FROM sqlite_master WHERE name = 'wipe_due'"_s).toInt(), 0);
}

void TestListSecrets::valuesAreKeptOnlyWhereAskedFor()
{
    DownloadList list;
    QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
    Info record;
    DownloadOptions options;
    options.headers = {{u"X-Vault-Token"_s, QString::fromLatin1(kSecret), u"http://a:80"_s}};
    QVERIFY(list.insertOwned(record, options) > 0);
    QCOMPARE(list.options(record.id).headers, (QList<SecretHeader>{{u"X-Vault-Token"_s, {}, u"http://a:80"_s}}));
    QCOMPARE(filesWithSecret(), QStringList());
    options.storeSecrets = true;
    QVERIFY(list.setOptions(record.id, options));
    QCOMPARE(list.options(record.id).headers, options.headers);
}

void TestListSecrets::whatIsRemovedLeavesTheFile()
{
    {
        DownloadList list;
        QVERIFY2(list.open(path()), qPrintable(list.lastFailure().plain()));
        Info record;
        DownloadOptions options;
        options.storeSecrets = true;
        options.headers = {{u"X-Vault-Token"_s, QString::fromLatin1(kSecret), u"http://a:80"_s}};
        QVERIFY(list.insertOwned(record, options) > 0);
    }
    QCOMPARE(filesWithSecret(), QStringList(u"downloads.sqlite"_s));
    {
        DownloadList list;
        QVERIFY(list.open(path()) && list.remove(1));
    }
    QCOMPARE(filesWithSecret(), QStringList());
}

void TestListSecrets::valuesOfADamagedListAreLeftBehind()
{
    makeEarlierList(asidePath());
    const ListRepair::Report report = ListRepair::bringOver(asidePath(), path());
    QCOMPARE(report.failure, Failure());
    QCOMPARE(report.brought, 1);
    QCOMPARE(report.remarks, QList<Clause>());
    DownloadList list;
    QVERIFY(list.open(path()));
    QCOMPARE(list.load(1)->parameters.value(u"headers"_s).toMap(), (QVariantMap{{u"Accept"_s, u"a/b"_s}}));
    QCOMPARE(list.options(1).headers.size(), 2);
    const QStringList files = filesWithSecret();
    QVERIFY2(!files.contains(u"downloads.sqlite"_s) && !files.contains(u"downloads.sqlite-wal"_s),
             qPrintable(files.join(u' ')));
}

void TestListSecrets::keptValuesAreBroughtOverFromADamagedList()
{
    DownloadOptions options;
    options.storeSecrets = true;
    options.headers = {{u"X-Vault-Token"_s, QString::fromLatin1(kSecret), u"*"_s}};
    {
        DownloadList list;
        Info record;
        QVERIFY(list.open(path()) && list.insertOwned(record, options) > 0);
    }
    QVERIFY(QFile::rename(path(), asidePath()));
    QCOMPARE(ListRepair::bringOver(asidePath(), path()).brought, 1);
    DownloadList list;
    QVERIFY(list.open(path()));
    QCOMPARE(list.options(1).headers, options.headers);
}

QTEST_GUILESS_MAIN(TestListSecrets)
#include "tst_listsecrets.moc"
