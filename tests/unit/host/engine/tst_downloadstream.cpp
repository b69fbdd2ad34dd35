// SPDX-License-Identifier: MIT
#include <host/engine/downloadstream.h>
#include <host/engine/streamhasher.h>
#include <tests/support/testfiles.h>

#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kSha256 = QCryptographicHash::Sha256;
constexpr quint64 kSeed = 9;
constexpr qint64 kMiB = 1024 * 1024;
/// Several of the hasher's pieces, and a bit of one.
constexpr qint64 kSize = 4 * kMiB + 7;
/// So much that nobody reads to its end while a test runs; it takes no room on the disk.
constexpr qint64 kEndless = qint64(1) << 40;

bool append(const QString &path, qint64 upTo)
{
    QFile file(path);
    if (!file.open(QIODevice::Append))
        return false;
    const qint64 from = file.size();
    return file.write(TestFiles::content(kSeed, from, upTo - from)) == upTo - from;
}

qint64 bytesOnDisk(const QString &path)
{
    struct stat info = {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? qint64(info.st_blocks) * 512 : -1;
}

QByteArray digestOf(qint64 size)
{
    return QByteArray::fromHex(TestFiles::sha256OfContent(kSeed, size));
}

}

class TestDownloadStream : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void nothingIsReadyBeforeItsFileIsThere();
    void whatIsReadyNeverGrowsLess();
    void whatIsTakenIsThere();
    void theDiskIsGivenBackWhatWasTaken();
    void whatIsHashedIsNeededUntilThen();
    void theDigestIsThatOfAllThatCame();
    void anEmptyFileHasADigest();
    void withoutAHasherNothingIsAnswered();
    void aFileThatCannotBeReadIsAnsweredWithTheReason_data();
    void aFileThatCannotBeReadIsAnsweredWithTheReason();
    void theHashersEndWaitsForNoFile();

private:
    QString path(const QString &name = u"a.part"_s) const { return m_stream->folder() + u'/' + name; }

    std::unique_ptr<QTemporaryDir> m_cache;
    std::shared_ptr<DownloadStream> m_stream;
};

void TestDownloadStream::init()
{
    m_stream.reset();
    m_cache = std::make_unique<QTemporaryDir>();
    qputenv("XDG_CACHE_HOME", m_cache->path().toLocal8Bit());
    Clause why;
    m_stream = DownloadStream::make(&why);
    QVERIFY2(m_stream, qPrintable(why.plain()));
}

void TestDownloadStream::nothingIsReadyBeforeItsFileIsThere()
{
    m_stream->grow(10, path());
    QVERIFY(!m_stream->hasBegun() && m_stream->snapshot() == StreamSnapshot());
    QVERIFY(append(path(), 10));
    m_stream->grow(0, path());
    QVERIFY2(!m_stream->hasBegun(), "a file without bytes can be begun anew");
    m_stream->grow(10, path());
    QVERIFY(m_stream->hasBegun());
    QCOMPARE(m_stream->snapshot(), (StreamSnapshot{path(), 10, 0}));
}

/// A download that forgets some of its bytes fetches the same ones again.
void TestDownloadStream::whatIsReadyNeverGrowsLess()
{
    QVERIFY(append(path(), 20));
    m_stream->grow(20, path());
    QVERIFY(QFile::rename(path(), path(u"a"_s)));
    m_stream->grow(10, path(u"a"_s));
    QCOMPARE(m_stream->snapshot(), (StreamSnapshot{path(u"a"_s), 20, 0}));
}

void TestDownloadStream::whatIsTakenIsThere()
{
    QVERIFY(append(path(), 20));
    m_stream->grow(20, path());
    QVERIFY(m_stream->take(15));
    QVERIFY(!m_stream->take(21));
    QVERIFY2(m_stream->take(5), "old news");
    QCOMPARE(m_stream->snapshot().taken, 15);
    QCOMPARE(m_stream->passed(), 15);
}

void TestDownloadStream::theDiskIsGivenBackWhatWasTaken()
{
    QVERIFY(append(path(), kSize));
    m_stream->grow(kSize, path());
    const qint64 before = bytesOnDisk(path());
    QVERIFY(m_stream->take(3 * kMiB));
    QVERIFY(bytesOnDisk(path()) <= before - 3 * kMiB);
}

void TestDownloadStream::whatIsHashedIsNeededUntilThen()
{
    m_stream->hashWith(kSha256);
    QVERIFY(m_stream->isHashing());
    QVERIFY(append(path(), kSize));
    m_stream->grow(2 * kMiB, path());
    const qint64 before = bytesOnDisk(path());
    QVERIFY(m_stream->take(2 * kMiB));
    QCOMPARE(m_stream->passed(), 0);
    QVERIFY(bytesOnDisk(path()) > before - 2 * kMiB);
    QTRY_COMPARE(m_stream->passed(), 2 * kMiB);
    QTRY_VERIFY(bytesOnDisk(path()) <= before - 2 * kMiB);
    m_stream->grow(kSize, path());
    QTest::qWait(0);
    QVERIFY2(m_stream->passed() == 2 * kMiB, "nobody has taken more");
}

/// Though what was taken is gone from the disk, and the file has another name by now.
void TestDownloadStream::theDigestIsThatOfAllThatCame()
{
    m_stream->hashWith(kSha256);
    QSignalSpy hashed(m_stream.get(), &DownloadStream::hashed);
    for (const qint64 size : {qint64(5), kMiB, 3 * kMiB}) {
        QVERIFY(append(path(), size));
        m_stream->grow(size, path());
        QVERIFY(m_stream->take(size));
        QTRY_COMPARE(m_stream->passed(), size);
    }
    QVERIFY(append(path(), kSize) && QFile::rename(path(), path(u"a"_s)));
    m_stream->grow(kSize, path(u"a"_s));
    m_stream->finishHash();
    QVERIFY(hashed.wait());
    QCOMPARE(hashed.size(), 1);
    QCOMPARE(hashed.constFirst().at(0).toByteArray().toHex(), digestOf(kSize).toHex());
}

/// Nobody has said where it is.
void TestDownloadStream::anEmptyFileHasADigest()
{
    QTest::failOnWarning(QRegularExpression(u"."_s));
    m_stream->hashWith(kSha256);
    QSignalSpy hashed(m_stream.get(), &DownloadStream::hashed);
    m_stream->finishHash();
    QVERIFY(hashed.wait());
    QCOMPARE(hashed.constFirst().at(0).toByteArray().toHex(), digestOf(0).toHex());
}

void TestDownloadStream::withoutAHasherNothingIsAnswered()
{
    const QSignalSpy hashed(m_stream.get(), &DownloadStream::hashed);
    QVERIFY(append(path(), 10));
    m_stream->grow(10, path());
    m_stream->finishHash();
    QTest::qWait(0);
    QVERIFY(!m_stream->isHashing() && hashed.isEmpty());
}

void TestDownloadStream::aFileThatCannotBeReadIsAnsweredWithTheReason_data()
{
    QTest::addColumn<qint64>("size"); // -1 = there is no file
    QTest::addColumn<Clause>("reason");
    QTest::newRow("it is gone") << qint64(-1) << Clause(u"No such file or directory"_s);
    QTest::newRow("somebody has cut it") << qint64(100) << Clause(Clause::Kind::FileEndsEarly, {u"100"_s});
    QTest::newRow("somebody has emptied it") << qint64(0) << Clause(Clause::Kind::FileEndsEarly, {u"0"_s});
}

void TestDownloadStream::aFileThatCannotBeReadIsAnsweredWithTheReason()
{
    QFETCH(qint64, size);
    QVERIFY(size < 0 || TestFiles::writeFile(path(), kSeed, size));
    StreamHasher hasher(kSha256);
    QSignalSpy hashed(&hasher, &StreamHasher::hashed);
    hasher.follow(path(), kMiB);
    hasher.finish(path(), 2 * kMiB);
    QVERIFY(hashed.wait());
    QCOMPARE(hashed.size(), 1);
    QCOMPARE(hashed.constFirst().at(0).toByteArray(), QByteArray());
    QTEST(hashed.constFirst().at(1).value<Clause>(), "reason");
}

void TestDownloadStream::theHashersEndWaitsForNoFile()
{
    QFile endless(path());
    QVERIFY(endless.open(QIODevice::WriteOnly) && endless.resize(kEndless));
    auto hasher = std::make_unique<StreamHasher>(kSha256);
    const QSignalSpy hashed(hasher.get(), &StreamHasher::hashed);
    hasher->follow(path(), kEndless);
    hasher->finish(path(), kEndless);
    hasher.reset();
    QTest::qWait(0);
    QVERIFY(hashed.isEmpty());
}

QTEST_GUILESS_MAIN(TestDownloadStream)
#include "tst_downloadstream.moc"
