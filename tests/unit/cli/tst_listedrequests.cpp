// SPDX-License-Identifier: MIT
#include <cli/listedrequests.h>
#include <host/options/optionvalue.h>
#include <host/options/optionvalues.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QString kFolder = u"/home/anna"_s;

/// As on a command line.
void give(OptionValues &values, const QString &name, const QString &text)
{
    const OptionRow &row = *values.table().find(name);
    Clause problem;
    values.give(row, {*OptionValue::fromText(row, text, name, &problem), {}});
}

ListedRequests read(const QString &text, const OptionValues &common = {})
{
    return ListedRequests::of(AddressList::read(text), {u"urls.txt"_s, common, kFolder});
}

QStringList addressesIn(const ListedRequests &listed)
{
    QStringList addresses;
    for (const DownloadRequest &request : listed.requests)
        addresses.append(request.url.toString());
    return addresses;
}

}

class TestListedRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void severalAddressesOfALineAreOfOneFile();
    void anAddressHasItsOwnOptionsAndTheCommonOnes();
    void whatListsOfOthersSayMeansTheSame();
    void whatIsWrongIsSaidWithItsLineAndKeepsTheOthersFromNothing_data();
    void whatIsWrongIsSaidWithItsLineAndKeepsTheOthersFromNothing();
    void everythingWrongIsSaid();
    void whatIsNeverReachedIsSaidOfEachAddress();
};

void TestListedRequests::severalAddressesOfALineAreOfOneFile()
{
    const ListedRequests listed = read(u"http://a/1\thttp://b/1\thttp://c/1\nhttp://d/2"_s);
    QCOMPARE(listed.complaints, QStringList());
    QCOMPARE(addressesIn(listed), (QStringList{u"http://a/1"_s, u"http://d/2"_s}));
    QCOMPARE(listed.requests.first().mirrors, (QList<QUrl>{QUrl(u"http://b/1"_s), QUrl(u"http://c/1"_s)}));
    QVERIFY(listed.requests.last().mirrors.isEmpty());
}

void TestListedRequests::anAddressHasItsOwnOptionsAndTheCommonOnes()
{
    OptionValues common;
    give(common, u"max-connections"_s, u"3"_s);
    give(common, u"referer"_s, u"http://all/"_s);
    give(common, u"header"_s, u"X-All: 1"_s);
    give(common, u"dir"_s, u"/data"_s);
    const ListedRequests listed = read(u"http://a/1\n"
                                       "  output=sub/x.bin\n"
                                       "  max-connections=7\n"
                                       "  header=X-Own: 2\n"
                                       "  checksum=md5=d41d8cd98f00b204e9800998ecf8427e\n"
                                       "  insecure\n"
                                       "http://b/2\n"
                                       "  dir=other\n"
                                       "  referer=http://own/\n"_s,
                                       common);
    QCOMPARE(listed.complaints, QStringList());
    const DownloadRequest first = listed.requests.value(0);
    QCOMPARE(first.outputName, u"x.bin"_s);
    QCOMPARE(first.folder, u"/data/sub"_s);
    QCOMPARE(first.options.connections, 7);
    QCOMPARE(first.headers, (QVariantMap{{u"X-All"_s, u"1"_s}, {u"X-Own"_s, u"2"_s}}));
    QCOMPARE(first.options.checksumAlgorithm, u"md5"_s);
    QVERIFY(first.options.insecure);
    QCOMPARE(first.referer, u"http://all/"_s);
    const DownloadRequest second = listed.requests.value(1);
    QCOMPARE(second.folder, u"/home/anna/other"_s);
    QCOMPARE(second.options.connections, 3);
    QCOMPARE(second.headers, (QVariantMap{{u"X-All"_s, u"1"_s}}));
    QCOMPARE(second.referer, u"http://own/"_s);
    QVERIFY(second.outputName.isEmpty() && second.options.checksumAlgorithm.isEmpty() && !second.options.insecure);
}

void TestListedRequests::whatListsOfOthersSayMeansTheSame()
{
    const ListedRequests listed = read(u"http://a/1\n"
                                       "  out=x.bin\n"
                                       "  split=5\n"
                                       "  max-connection-per-server=2\n"
                                       "  user-agent=Me\n"_s);
    QCOMPARE(listed.complaints, QStringList());
    const DownloadRequest request = listed.requests.value(0);
    QCOMPARE(request.outputName, u"x.bin"_s);
    QCOMPARE(request.options.connections, 5);
    QCOMPARE(request.options.connectionsPerServer, 2);
    QCOMPARE(request.userAgent, u"Me"_s);
}

void TestListedRequests::whatIsWrongIsSaidWithItsLineAndKeepsTheOthersFromNothing_data()
{
    QTest::addColumn<QString>("lines");
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("part");
    const auto row = [](const char *title, const QString &lines, const QString &place, const QString &part) {
        QTest::newRow(title) << lines << place << part;
    };
    row("no address", u"nonsense:"_s, u"urls.txt:2"_s, u"\"nonsense:\" is no URL"_s);
    row("one without a host", u"http:///x"_s, u"urls.txt:2"_s, u"is no URL"_s);
    row("a mirror that is none", u"http://c/3\t/x"_s, u"urls.txt:2"_s, u"\"/x\" is no URL"_s);
    row("too many connections", u"http://c/3\n\n  split=99"_s, u"urls.txt:4"_s,
        u"split \"99\" is no number from 1 to 20. The address of line 2 is left out."_s);
    row("a checksum that is none", u"http://c/3\n  checksum=md5=0"_s, u"urls.txt:3"_s, u"checksum"_s);
    row("an option that there is none of", u"http://c/3\n  gid=1"_s, u"urls.txt:3"_s,
        u"there is no option \"gid\" of an address"_s);
    row("one of all downloads together", u"http://c/3\n  max-downloads=1"_s, u"urls.txt:3"_s,
        u"there is no option \"max-downloads\" of an address"_s);
    row("one that reads files", u"http://c/3\n  netrc-file=x"_s, u"urls.txt:3"_s, u"there is no option"_s);
    row("an option without its value", u"http://c/3\n  out"_s, u"urls.txt:3"_s,
        u"\"out\" has no value. Write it as \"out=FILE\"."_s);
    row("standard output for one of several", u"http://c/3\n  out=-"_s, u"urls.txt:2"_s,
        u"out \"-\" is standard output"_s);
    row("a variable that there is none of", u"http://c/3\n  dir=$PLAIT_NO_SUCH/x"_s, u"urls.txt:3"_s,
        u"PLAIT_NO_SUCH"_s);
}

void TestListedRequests::whatIsWrongIsSaidWithItsLineAndKeepsTheOthersFromNothing()
{
    QFETCH(QString, lines);
    QFETCH(QString, place);
    QFETCH(QString, part);
    const ListedRequests listed = read(u"http://a/1\n"_s + lines + u"\nhttp://b/2\n"_s);
    QCOMPARE(listed.complaints.size(), 1);
    QVERIFY2(listed.complaints.first().startsWith(place + u": "_s), qPrintable(listed.complaints.first()));
    QVERIFY2(listed.complaints.first().contains(part), qPrintable(listed.complaints.first()));
    QCOMPARE(addressesIn(listed), (QStringList{u"http://a/1"_s, u"http://b/2"_s}));
}

void TestListedRequests::everythingWrongIsSaid()
{
    const ListedRequests listed = read(u"  out=x\nx:\nhttp://a/1\n  split=0\n  on-exists=burn\nhttp://b/2"_s);
    QCOMPARE(addressesIn(listed), QStringList{u"http://b/2"_s});
    QStringList places;
    for (const QString &complaint : listed.complaints)
        places.append(complaint.section(u": "_s, 0, 0));
    QCOMPARE(places, (QStringList{u"urls.txt:1"_s, u"urls.txt:2"_s, u"urls.txt:4"_s, u"urls.txt:5"_s}));
}

void TestListedRequests::whatIsNeverReachedIsSaidOfEachAddress()
{
    OptionValues common;
    common.give(*common.table().find(u"ipv6"_s), {true, {}});
    const ListedRequests listed = read(u"http://[::1]/1\thttp://127.0.0.2/1\thttp://127.0.0.3/1\n"
                                       "http://[::1]/2\n"
                                       "http://a/3\n"
                                       "  mirror=http://127.0.0.4/3\n"_s,
                                       common);
    QCOMPARE(addressesIn(listed), QStringList{u"http://[::1]/2"_s});
    const QString never = u": --ipv6 never reaches \"127.0.0.%1\", which is an IPv4 address. "
                          "Leave the option out, or this address."_s;
    QCOMPARE(
        listed.complaints,
        (QStringList{u"urls.txt:1"_s + never.arg(2), u"urls.txt:1"_s + never.arg(3), u"urls.txt:3"_s + never.arg(4)}));
}

QTEST_APPLESS_MAIN(TestListedRequests)
#include "tst_listedrequests.moc"
