// SPDX-License-Identifier: MIT
#include <host/storage/spool.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 kMiB = qint64(1024) * 1024;

struct stat infoOf(const QString &path)
{
    struct stat info = {};
    ::stat(QFile::encodeName(path).constData(), &info);
    return info;
}

std::unique_ptr<Spool> made()
{
    Clause why;
    std::unique_ptr<Spool> spool = Spool::make(&why);
    if (!spool)
        qWarning().noquote() << why.plain();
    return spool;
}

bool write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

}

class TestSpool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void nobodyElseMayLookIntoIt();
    void itGoesWithAllThatIsInIt();
    void whatOthersUseStays();
    void whatNobodyUsesAnyMoreGoes();
    void theDiskIsGivenBackWhatWasRead();
    void withoutACacheItIsATemporaryFolder();

private:
    QString streams() const { return m_cache->filePath(u"plait/streams"_s); }

    std::unique_ptr<QTemporaryDir> m_cache;
};

void TestSpool::init()
{
    m_cache = std::make_unique<QTemporaryDir>();
    qputenv("XDG_CACHE_HOME", m_cache->path().toLocal8Bit());
}

void TestSpool::nobodyElseMayLookIntoIt()
{
    const std::unique_ptr<Spool> spool = made();
    QVERIFY(spool && spool->folder().startsWith(streams() + u'/'));
    QCOMPARE(infoOf(spool->folder()).st_mode & 0777, mode_t(0700));
    QCOMPARE(infoOf(streams()).st_mode & 0777, mode_t(0700));
}

void TestSpool::itGoesWithAllThatIsInIt()
{
    std::unique_ptr<Spool> spool = made();
    QVERIFY(spool && write(spool->folder() + u"/a.part"_s, "abc"));
    spool.reset();
    QVERIFY(QDir(streams()).isEmpty());
}

void TestSpool::whatOthersUseStays()
{
    const std::unique_ptr<Spool> first = made();
    const std::unique_ptr<Spool> second = made();
    QVERIFY(first && second && first->folder() != second->folder());
    QVERIFY(QDir(first->folder()).exists());
}

void TestSpool::whatNobodyUsesAnyMoreGoes()
{
    QVERIFY(QDir().mkpath(streams() + u"/stream-dead"_s));
    QVERIFY(write(streams() + u"/stream-dead/a.part"_s, "abc"));
    const std::unique_ptr<Spool> spool = made();
    QVERIFY(spool);
    QCOMPARE(QDir(streams()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), 1);
}

void TestSpool::theDiskIsGivenBackWhatWasRead()
{
    const std::unique_ptr<Spool> spool = made();
    QVERIFY(spool);
    const QString path = spool->folder() + u"/a.part"_s;
    QVERIFY(!spool->setFile(path));
    QVERIFY(write(path, QByteArray(8 * kMiB, 'x')));
    QVERIFY(spool->setFile(path));
    const auto before = infoOf(path).st_blocks;
    // The name that it has when it is whole.
    QVERIFY(QFile::rename(path, spool->folder() + u"/a"_s));
    spool->free(6 * kMiB + 1);
    const struct stat after = infoOf(spool->folder() + u"/a"_s);
    QCOMPARE(qint64(after.st_size), 8 * kMiB);
    QVERIFY(after.st_blocks < before / 2);
    QFile file(spool->folder() + u"/a"_s);
    QVERIFY(file.open(QIODevice::ReadOnly) && file.seek(6 * kMiB));
    QCOMPARE(file.readAll(), QByteArray(2 * kMiB, 'x'));
}

void TestSpool::withoutACacheItIsATemporaryFolder()
{
    QVERIFY(write(m_cache->filePath(u"file"_s), "abc"));
    qputenv("XDG_CACHE_HOME", m_cache->filePath(u"file"_s).toLocal8Bit());
    const std::unique_ptr<Spool> spool = made();
    QVERIFY(spool && spool->folder().startsWith(QDir::tempPath() + u'/'));
    QCOMPARE(infoOf(spool->folder()).st_mode & 0777, mode_t(0700));
}

QTEST_GUILESS_MAIN(TestSpool)
#include "tst_spool.moc"
