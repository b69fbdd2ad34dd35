// SPDX-License-Identifier: MIT
#include <host/engine/filehasher.h>

#include <tests/support/testfiles.h>

#include <QCryptographicHash>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto kSha256 = QCryptographicHash::Sha256;
constexpr quint64 kSeed = 5;
/// Several pieces, and a bit of one.
constexpr qint64 kSize = 3 * 1024 * 1024 + 7;
/// So much that nobody reads to its end while a test runs; it takes no room on the disk.
constexpr qint64 kEndless = qint64(1) << 40;

}

class TestFileHasher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachFileHasItsOwnAnswer();
    void whatCannotBeReadIsAnsweredWithTheReason();
    void anEmptyFileHasADigest();
    void whatIsGivenUpIsNotAnsweredAndHoldsUpNobody();
    void itsEndWaitsForNoFile();

private:
    QString file(const QString &name, qint64 size) const
    {
        const QString path = m_dir.filePath(name);
        return TestFiles::writeFile(path, kSeed, size) ? path : QString();
    }
    QString endlessFile() const
    {
        QFile file(m_dir.filePath(u"endless"_s));
        return file.open(QIODevice::WriteOnly) && file.resize(kEndless) ? file.fileName() : QString();
    }

    QTemporaryDir m_dir;
};

void TestFileHasher::eachFileHasItsOwnAnswer()
{
    FileHasher hasher;
    QSignalSpy hashed(&hasher, &FileHasher::hashed);
    const quint64 first = hasher.hash(file(u"first"_s, kSize), kSha256);
    const quint64 second = hasher.hash(file(u"second"_s, 10), QCryptographicHash::Md5);
    QVERIFY(first != 0 && second != 0 && first != second);
    QTRY_COMPARE(hashed.size(), 2);
    QCOMPARE(hashed.at(0).at(0).toULongLong(), first);
    QCOMPARE(hashed.at(0).at(1).toByteArray().toHex(), TestFiles::sha256OfContent(kSeed, kSize));
    QCOMPARE(hashed.at(1).at(0).toULongLong(), second);
    QCOMPARE(hashed.at(1).at(1).toByteArray(),
             QCryptographicHash::hash(TestFiles::content(kSeed, 0, 10), QCryptographicHash::Md5));
}

void TestFileHasher::whatCannotBeReadIsAnsweredWithTheReason()
{
    FileHasher hasher;
    QSignalSpy hashed(&hasher, &FileHasher::hashed);
    hasher.hash(m_dir.filePath(u"nothing"_s), kSha256);
    hasher.hash(m_dir.path(), kSha256);
    QTRY_COMPARE(hashed.size(), 2);
    for (const QList<QVariant> &answer : std::as_const(hashed)) {
        QCOMPARE(answer.at(1).toByteArray(), QByteArray());
        QVERIFY(!answer.at(2).value<Clause>().isEmpty());
    }
}

void TestFileHasher::anEmptyFileHasADigest()
{
    FileHasher hasher;
    QSignalSpy hashed(&hasher, &FileHasher::hashed);
    hasher.hash(file(u"empty"_s, 0), kSha256);
    QTRY_COMPARE(hashed.size(), 1);
    QCOMPARE(hashed.at(0).at(1).toByteArray(), QCryptographicHash::hash({}, kSha256));
}

void TestFileHasher::whatIsGivenUpIsNotAnsweredAndHoldsUpNobody()
{
    FileHasher hasher;
    QSignalSpy hashed(&hasher, &FileHasher::hashed);
    const quint64 endless = hasher.hash(endlessFile(), kSha256);
    const quint64 notBegun = hasher.hash(file(u"a"_s, 10), kSha256);
    const quint64 wanted = hasher.hash(file(u"b"_s, 10), kSha256);
    hasher.giveUp(notBegun);
    hasher.giveUp(endless);
    hasher.giveUp(endless);
    QTRY_COMPARE(hashed.size(), 1);
    QCOMPARE(hashed.at(0).at(0).toULongLong(), wanted);
    hasher.giveUp(wanted);
    const quint64 next = hasher.hash(file(u"c"_s, 10), kSha256);
    QTRY_COMPARE(hashed.size(), 2);
    QCOMPARE(hashed.at(1).at(0).toULongLong(), next);
}

void TestFileHasher::itsEndWaitsForNoFile()
{
    auto hasher = std::make_unique<FileHasher>();
    QSignalSpy hashed(hasher.get(), &FileHasher::hashed);
    hasher->hash(endlessFile(), kSha256);
    hasher->hash(endlessFile(), kSha256);
    hasher.reset();
    QCOMPARE(hashed.size(), 0);
}

QTEST_GUILESS_MAIN(TestFileHasher)
#include "tst_filehasher.moc"
