// SPDX-License-Identifier: MIT
#include <host/parsing/resourcedigest.h>
#include <host/policy/resourcememory.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QByteArray kMd5(16, 'm');
const QByteArray kSha256(32, 's');
const QByteArray kSha512(64, 'l');

/// Empty = none.
QString textOf(const std::optional<Checksum> &checksum)
{
    return checksum ? checksum->toText() : QString();
}

}

class TestResourceDigest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFieldIsUnderstoodOrPassedOver_data();
    void aFieldIsUnderstoodOrPassedOver();
    void anAnswersFieldIsUnderstoodWhereItIsKept_data();
    void anAnswersFieldIsUnderstoodWhereItIsKept();
};

void TestResourceDigest::aFieldIsUnderstoodOrPassedOver_data()
{
    QTest::addColumn<QByteArray>("field");
    QTest::addColumn<QString>("checksum");
    const QByteArray small = kSha256.toBase64();
    const QString md5 = u"md5="_s + QString::fromLatin1(kMd5.toHex());
    const QString sha256 = u"sha-256="_s + QString::fromLatin1(kSha256.toHex());
    const QString sha512 = u"sha-512="_s + QString::fromLatin1(kSha512.toHex());
    QTest::newRow("of Digest") << "sha-256=" + small << sha256;
    QTest::newRow("of Repr-Digest") << "sha-256=:" + small + ":" << sha256;
    QTest::newRow("of Repr-Digest with a parameter") << "sha-256=:" + small + ":;q=1" << sha256;
    QTest::newRow("of Digest with a parameter") << "sha-256=" + small + ";q=1" << sha256;
    QTest::newRow("without its padding") << "sha-256=" + small.chopped(1) << sha256;
    QTest::newRow("in capitals") << "SHA-256=" + small << sha256;
    QTest::newRow("MD5") << "MD5=" + kMd5.toBase64() << md5;
    QTest::newRow("SHA-512") << "sha-512=:" + kSha512.toBase64() + ":" << sha512;
    QTest::newRow("with spaces around it") << "  sha-256 = " + small + " " << sha256;
    QTest::newRow("the strongest of several, wherever it stands")
        << "md5=" + kMd5.toBase64() + ", sha-512=" + kSha512.toBase64() + ",sha-256=" + small << sha512;
    QTest::newRow("a stronger one that cannot be read leaves the weaker") << "sha-512=????,sha-256=" + small << sha256;
    QTest::newRow("one that is known behind one that is not") << "unixsum=30637, sha-256=" + small << sha256;
    QTest::newRow("none") << QByteArray() << QString();
    QTest::newRow("none that is known") << QByteArray("unixsum=30637,crc32c=AAAAAA==") << QString();
    QTest::newRow("of another length") << "sha-256=" + kMd5.toBase64() << QString();
    QTest::newRow("empty") << QByteArray("sha-256=") << QString();
    QTest::newRow("empty between colons") << QByteArray("sha-256=::") << QString();
    QTest::newRow("without its second colon") << "sha-256=:" + small << QString();
    QTest::newRow("in hexadecimal digits") << "sha-256=" + kSha256.toHex() << QString();
    QTest::newRow("with something that is no base64") << "sha-256=" + small.chopped(2) + "!=" << QString();
    QTest::newRow("without a name") << "=" + small << QString();
    QTest::newRow("the name alone") << QByteArray("sha-256") << QString();
    QTest::newRow("nothing but commas") << QByteArray(",,,=,") << QString();
}

void TestResourceDigest::aFieldIsUnderstoodOrPassedOver()
{
    QFETCH(QByteArray, field);
    QFETCH(QString, checksum);
    QCOMPARE(textOf(ResourceDigest::parse(field)), checksum);
}

void TestResourceDigest::anAnswersFieldIsUnderstoodWhereItIsKept_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    const QByteArray digest = kSha256.toBase64();
    QTest::newRow("Digest") << QByteArray("Digest") << "sha-256=" + digest;
    QTest::newRow("Repr-Digest") << QByteArray("Repr-Digest") << "sha-256=:" + digest + ":";
    QTest::newRow("Repr-Digest with a parameter") << QByteArray("Repr-Digest") << "sha-256=:" + digest + ":;p=1";
    QTest::newRow("a parameter in quotes") << QByteArray("Repr-Digest") << "sha-256=:" + digest + ":;p=\"a:b\"";
    QTest::newRow("several with parameters")
        << QByteArray("Repr-Digest") << "md5=:" + kMd5.toBase64() + ":;p, sha-256=:" + digest + ":;p=1";
}

void TestResourceDigest::anAnswersFieldIsUnderstoodWhereItIsKept()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, value);
    ResourceMemory memory;
    memory.addresses.append({QUrl(u"http://0"_s), {}, 0, ResourceIdentity::of(200, {{name, value}})});
    QCOMPARE(memory.digest().value_or(Checksum()).expected, kSha256);
}

QTEST_GUILESS_MAIN(TestResourceDigest)
#include "tst_resourcedigest.moc"
