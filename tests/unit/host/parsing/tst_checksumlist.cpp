// SPDX-License-Identifier: MIT
#include <host/parsing/checksumlist.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
const QByteArray kMd5 = QByteArray(32, '1');
const QByteArray kSha1 = QByteArray(40, '2');
const QByteArray kSha256 = QByteArray(64, 'a');
const QByteArray kOther256 = QByteArray(64, 'B');
const QByteArray kSha512 = QByteArray(128, 'c');

QString foundIn(const QByteArray &text, const QStringList &names = {u"x.iso"_s}, const QString &path = u"/pub/x.iso"_s)
{
    const auto checksum = ChecksumList::find(ChecksumList::parse(text), names, path);
    return checksum ? checksum->toText() : QString();
}

QString sum(const char *algorithm, const QByteArray &hex)
{
    return QString::fromLatin1(algorithm) + u'=' + QString::fromLatin1(hex.toLower());
}
}

class TestChecksumList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSumIsFound_data();
    void aSumIsFound();
    void aPageIsNoList();
    void anySplitOfAListIsRead();
    void neighboursStandBesideTheFile();
};

void TestChecksumList::aSumIsFound_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("found");
    const QString sha256 = sum("sha-256", kSha256);
    QTest::newRow("as sha256sum writes it") << QByteArray(kOther256 + "  y.iso\n" + kSha256 + "  x.iso\n") << sha256;
    QTest::newRow("of a binary file") << QByteArray(kSha256 + " *x.iso\n") << sha256;
    QTest::newRow("with lines of other systems") << QByteArray(kSha256 + "  x.iso\r\n") << sha256;
    QTest::newRow("without an end of its line") << QByteArray(kSha256 + "  x.iso") << sha256;
    QTest::newRow("in capitals") << QByteArray(kOther256 + "  x.iso\n") << sum("sha-256", kOther256);
    QTest::newRow("of sha512sum") << QByteArray(kSha512 + "  x.iso\n") << sum("sha-512", kSha512);
    QTest::newRow("of md5sum") << QByteArray(kMd5 + "  x.iso\n") << sum("md5", kMd5);
    QTest::newRow("of sha1sum") << QByteArray(kSha1 + "  x.iso\n") << sum("sha-1", kSha1);
    QTest::newRow("as BSD writes it") << QByteArray("SHA256 (x.iso) = " + kSha256 + '\n') << sha256;
    QTest::newRow("as OpenSSL writes it") << QByteArray("SHA2-256(x.iso)= " + kSha256 + '\n') << sha256;
    QTest::newRow("with folders") << QByteArray(kSha256 + "  ./images/x.iso\n") << sha256;
    QTest::newRow("with the folder that it is in")
        << QByteArray(kOther256 + "  old/x.iso\n" + kSha256 + "  pub/x.iso\n") << sha256;
    QTest::newRow("with folders of which none fits better")
        << QByteArray(kOther256 + "  a/x.iso\n" + kSha256 + "  b/x.iso\n") << QString();
    QTest::newRow("twice the same") << QByteArray(kSha256 + "  a/x.iso\n" + kSha256 + "  b/x.iso\n") << sha256;
    QTest::newRow("the longest of several kinds")
        << QByteArray(kMd5 + "  x.iso\n" + kSha512 + "  x.iso\n" + kSha256 + "  x.iso\n") << sum("sha-512", kSha512);
    QTest::newRow("alone, without a name") << QByteArray(kSha256 + '\n') << sha256;
    QTest::newRow("alone, twice and different") << QByteArray(kSha256 + '\n' + kOther256 + '\n') << QString();
    QTest::newRow("signed") << QByteArray("-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA256\n\n" + kSha256
                                          + "  x.iso\n-----BEGIN PGP SIGNATURE-----\nabcd\n")
                            << sha256;
    QTest::newRow("with words above") << QByteArray("# images of today\n" + kSha256 + "  x.iso\n") << sha256;
    QTest::newRow("of another file") << QByteArray(kSha256 + "  y.iso\n") << QString();
    QTest::newRow("of a name that only begins so") << QByteArray(kSha256 + "  x.iso.sig\n") << QString();
    QTest::newRow("of a length that none has") << QByteArray(kSha256 + "0  x.iso\n") << QString();
    QTest::newRow("nothing") << QByteArray() << QString();
    QTest::newRow("noise") << QByteArray("\x01\x02(((=\n)=(") << QString();
}

void TestChecksumList::aSumIsFound()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, found);
    QCOMPARE(foundIn(text), found);
}

void TestChecksumList::aPageIsNoList()
{
    QVERIFY(ChecksumList::isPage("\n<!DOCTYPE html><html>"));
    QVERIFY(ChecksumList::isPage("<HTML lang=en>"));
    QVERIFY(!ChecksumList::isPage(kSha256 + "  x.html\n"));
}

void TestChecksumList::anySplitOfAListIsRead()
{
    const QByteArray text = "SHA256 (x.iso) = " + kSha256 + "\n\\" + kOther256 + "  a\\nb\n" + kMd5 + " *c (d) = e\n";
    for (qsizetype size = 0; size <= text.size(); ++size)
        ChecksumList::parse(text.first(size));
    QCOMPARE(foundIn(text, {u"a\nb"_s}), sum("sha-256", kOther256));
    QCOMPARE(foundIn(text, {u"c (d) = e"_s}), sum("md5", kMd5));
}

void TestChecksumList::neighboursStandBesideTheFile()
{
    const QList<QUrl> all = ChecksumList::neighboursOf(QUrl(u"https://h.example/a%20b/x%2B.iso?token=1#part"_s));
    QVERIFY(all.contains(QUrl(u"https://h.example/a%20b/x%2B.iso.sha256"_s)));
    QVERIFY(all.contains(QUrl(u"https://h.example/a%20b/SHA256SUMS"_s)));
    for (const QUrl &url : all)
        QVERIFY2(!url.hasQuery() && !url.hasFragment() && url.host() == "h.example"_L1, qPrintable(url.toString()));
    QVERIFY(ChecksumList::neighboursOf(QUrl(u"https://h.example/"_s)).isEmpty());
}

QTEST_GUILESS_MAIN(TestChecksumList)
#include "tst_checksumlist.moc"
