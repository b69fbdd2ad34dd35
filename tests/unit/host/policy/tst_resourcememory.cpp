// SPDX-License-Identifier: MIT
#include <host/policy/resourcememory.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QByteArray kSha256(32, 's');
const QByteArray kOther(32, 'o');

KnownAddress addressOf(const QString &url, const QByteArray &digest)
{
    KnownAddress address;
    address.url = QUrl(url);
    address.identity.digest = digest;
    return address;
}

QByteArray sha256Of(const QByteArray &bytes)
{
    return "sha-256=" + bytes.toBase64();
}

}

class TestResourceMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theDigestIsThatOfWhereTheFirstPartCameFrom_data();
    void theDigestIsThatOfWhereTheFirstPartCameFrom();
};

void TestResourceMemory::theDigestIsThatOfWhereTheFirstPartCameFrom_data()
{
    QTest::addColumn<QList<QByteArray>>("digests"); // of the addresses http://0, http://1 and so on
    QTest::addColumn<QString>("first"); // address
    QTest::addColumn<QByteArray>("digest"); // empty = none
    using Digests = QList<QByteArray>;
    const QByteArray one = sha256Of(kSha256);
    const QByteArray other = sha256Of(kOther);
    QTest::newRow("no address") << Digests() << QString() << QByteArray();
    QTest::newRow("none names one") << Digests{{}, {}} << u"http://0"_s << QByteArray();
    QTest::newRow("the only one") << Digests{one} << u"http://0"_s << kSha256;
    QTest::newRow("the first is where it came from") << Digests{one, other} << u"http://0"_s << kSha256;
    QTest::newRow("the second is where it came from") << Digests{one, other} << u"http://1"_s << kOther;
    QTest::newRow("where it came from names none") << Digests{{}, other} << u"http://0"_s << kOther;
    QTest::newRow("nobody knows where it came from") << Digests{one, other} << QString() << kSha256;
}

void TestResourceMemory::theDigestIsThatOfWhereTheFirstPartCameFrom()
{
    QFETCH(QList<QByteArray>, digests);
    QFETCH(QString, first);
    QFETCH(QByteArray, digest);
    ResourceMemory memory;
    memory.evidence.address = QUrl(first);
    for (qsizetype i = 0; i < digests.size(); ++i)
        memory.addresses.append(addressOf(u"http://%1"_s.arg(i), digests.at(i)));
    QCOMPARE(memory.digest().value_or(Checksum()).expected, digest);
}

QTEST_GUILESS_MAIN(TestResourceMemory)
#include "tst_resourcememory.moc"
