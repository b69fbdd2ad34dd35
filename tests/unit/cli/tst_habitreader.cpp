// SPDX-License-Identifier: MIT
#include <cli/habitreader.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestHabitReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsTypedIsWrittenInOurWords_data();
    void whatIsTypedIsWrittenInOurWords();
    void whatIsNotMissedIsLeftOutAndNoted_data();
    void whatIsNotMissedIsLeftOutAndNoted();
    void whatIsNotToBeHadIsSaid_data();
    void whatIsNotToBeHadIsSaid();
    void anotherProgramsLineIsWrittenInOurWords_data();
    void anotherProgramsLineIsWrittenInOurWords();
    void whatAnotherProgramsLineCannotDoIsSaid_data();
    void whatAnotherProgramsLineCannotDoIsSaid();
    void whatIsLeftOutIsNoted();
};

namespace
{

const QString kUrl = u"http://h/f"_s;

HabitReader::Read typed(const QString &line)
{
    return HabitReader::typed(line.split(u' '), CommandTable::unnamed());
}

HabitReader::Read imported(const QString &line)
{
    QStringList words = line.split(u' ');
    const Habits::Tool *const tool = Habits::find(words.takeFirst());
    return HabitReader::imported(words, *tool);
}

void addReadRow(const char *name, const QString &line, const QString &options)
{
    QTest::newRow(name) << line << options;
}

}

void TestHabitReader::whatIsTypedIsWrittenInOurWords_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("options");
    addReadRow("ours stay", u"-q --limit-rate 5K --netrc=false URL"_s, u"--quiet --limit-rate=5K --netrc=false"_s);
    addReadRow("ours in one word", u"-qox URL"_s, u"--quiet --output=x"_s);
    addReadRow("an empty value", u"--output= URL"_s, u"--output "_s);
    addReadRow("a value that looks like an option", u"-o -x URL"_s, u"--output=-x"_s);
    addReadRow("another name", u"--output-document=x URL"_s, u"--output=x"_s);
    addReadRow("what is so without it", u"-L -J -c -f --create-dirs URL"_s, u"--continue"_s);
    addReadRow("curl's usual letters", u"-fsSL URL"_s, u"--quiet"_s);
    addReadRow("curl's usual letters with a name", u"-fsSLo x URL"_s, u"--quiet --output=x"_s);
    addReadRow("curl's name of the server before an address", u"-O URL"_s, QString());
    addReadRow("the same among others", u"-LO URL"_s, QString());
    addReadRow("the same at the end", u"URL -O"_s, QString());
    addReadRow("wget's name", u"-O x.iso URL"_s, u"--output=x.iso"_s);
    addReadRow("wget's standard output", u"-O - URL"_s, u"--output=-"_s);
    addReadRow("wget's letters of two", u"-nv -nc -nd URL"_s, u"--progress=none --on-exists=skip"_s);
    addReadRow("wget's folder", u"-P sub URL"_s, u"--dir=sub"_s);
    addReadRow("silence", u"-s URL"_s, u"--quiet"_s);
    addReadRow("connections", u"-s 5 URL"_s, u"--max-connections=5"_s);
    addReadRow("connections in one word", u"-s5 URL"_s, u"--max-connections=5"_s);
    addReadRow("aria2's usual line", u"-x16 -s16 -k1M -j5 URL"_s,
               u"--max-connections-per-server=16 --max-connections=16 --max-downloads=5"_s);
    addReadRow("aria2's usual line in names", u"--split=8 --max-connection-per-server=4 --min-split-size=1M URL"_s,
               u"--max-connections=8 --max-connections-per-server=4"_s);
    addReadRow("digits are a number where one is taken", u"-s46 URL"_s, u"--max-connections=46"_s);
    addReadRow("a number among curl's letters", u"-sx4 URL"_s, u"--quiet --max-connections=4"_s);
    addReadRow("wget's name in one word", u"-Oz2.txt URL"_s, u"--output=z2.txt"_s);
    addReadRow("wget's name behind other letters", u"-qOq.txt URL"_s, u"--quiet --output=q.txt"_s);
    addReadRow("wget's folder in one word", u"-Pfoo URL"_s, u"--dir=foo"_s);
    addReadRow("wget's log in one word", u"-afoo URL"_s, u"--log=foo"_s);
    addReadRow("curl's letters behind its name of the server", u"-OLs URL"_s, u"--quiet"_s);
    addReadRow("the same where a part is gone on with", u"-OC- URL"_s, u"--continue"_s);
    addReadRow("a name that no letters are", u"-Otest URL"_s, u"--output=test"_s);
    addReadRow("a path in one word", u"-Osub/foo URL"_s, u"--output=sub/foo"_s);
    addReadRow("ours with their values in one word", u"-ofoo -dsub -x16 -j4 URL"_s,
               u"--output=foo --dir=sub --max-connections=16 --max-downloads=4"_s);
    addReadRow("no progress, and all the rest", u"-sv URL"_s, u"--progress=none --verbose"_s);
    addReadRow("the same in names", u"--silent --verbose URL"_s, u"--progress=none --verbose"_s);
    addReadRow("progress alone", u"-q --show-progress URL"_s, u"--progress=bar"_s);
    addReadRow("progress that is shown anyway", u"--show-progress URL"_s, QString());
    addReadRow("wget's kinds of progress", u"--progress=bar:force URL"_s, u"--progress=bar"_s);
    addReadRow("wget's dots", u"--progress dot:giga URL"_s, u"--progress=line"_s);
    addReadRow("a kind of progress that nobody has", u"--progress=x:y URL"_s, u"--progress=x:y"_s);
    addReadRow("tries again are one fewer than tries", u"--retry 4 URL"_s, u"--tries=5"_s);
    addReadRow("tries", u"--max-tries=4 URL"_s, u"--tries=4"_s);
    addReadRow("a part that is gone on with", u"-C - URL"_s, u"--continue"_s);
    addReadRow("cookies", u"-b a=1 URL"_s, u"--header=Cookie: a=1"_s);
    addReadRow("a file of cookies", u"-b jar URL"_s, u"--load-cookies=jar"_s);
    addReadRow("a name and a password", u"--http-user anna --http-passwd pw URL"_s, u"--user=anna:pw"_s);
    addReadRow("the password first", u"--password pw --user anna URL"_s, u"--user=anna:pw"_s);
    addReadRow("a proxy's login", u"--proxy http://p:1 --proxy-user anna:p@w URL"_s,
               u"--proxy=http://anna:p%40w@p:1"_s);
    addReadRow("a body in pieces", u"--data a=1 --data b=2 URL"_s, u"--post-data=a=1&b=2"_s);
    addReadRow("a switch that is off", u"--check-certificate=false --auto-file-renaming=false URL"_s,
               u"--insecure --on-exists=fail"_s);
    addReadRow("a switch that is on", u"--continue=true --allow-overwrite=true URL"_s,
               u"--continue=true --on-exists=overwrite"_s);
    addReadRow("a switch that is off here anyway", u"--conditional-get=false --enable-rpc=false URL"_s, QString());
    addReadRow("switches of which one means another of ours", u"--remote-time=false --always-resume=false URL"_s,
               u"--no-remote-time --on-unresumable=restart"_s);
    addReadRow("a time without anything", u"-y 30 URL"_s, u"--timeout=30"_s);
    addReadRow("the referring page", u"-e http://r/ URL"_s, u"--referer=http://r/"_s);
    addReadRow("what nobody knows stays", u"--nonsense=x -Ä URL"_s, u"--nonsense=x -Ä"_s);
}

void TestHabitReader::whatIsTypedIsWrittenInOurWords()
{
    QFETCH(QString, line);
    const HabitReader::Read read = typed(line.replace("URL"_L1, kUrl));

    QVERIFY2(read.complaint.isEmpty(), qPrintable(read.complaint));
    QCOMPARE(read.addresses, QStringList{kUrl});
    QTEST(read.options.join(u' '), "options");
}

void TestHabitReader::whatIsNotMissedIsLeftOutAndNoted_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("note");
    const auto row = [](const char *name, const QString &line, const QString &note) {
        QTest::newRow(name) << line << note;
    };
    row("packing on the way", u"--compressed URL"_s, u"\"--compressed\" is left out: a file is asked for as it is"_s);
    row("its value in the same word", u"--compression=auto URL"_s, u"\"--compression\" is left out: "_s);
    row("its value behind it", u"--waitretry 3 URL"_s, u"\"--waitretry\" is left out: "_s);
    row("fewer redirects", u"--max-redirs 5 URL"_s, u"\"--max-redirs\" is left out: up to 15"_s);
    row("the two schemes that there are", u"--proto =http,https URL"_s, u"\"--proto\" is left out: "_s);
    row("errors that pass anyway", u"--retry-on-http-error=429,503 URL"_s, u"\"--retry-on-http-error\" is left out"_s);
    row("the TLS that there is", u"--secure-protocol=TLSv1_2 URL"_s, u"\"--secure-protocol\" is left out: "_s);
    row("robots", u"-e robots=off URL"_s, u"\"-e\" is left out: no links"_s);
    row("torrents", u"--seed-time=0 URL"_s, u"\"--seed-time\" is left out: "_s);
    row("a switch that cannot be off", u"--async-dns=false URL"_s, u"\"--async-dns=false\" is left out: "_s);
}

void TestHabitReader::whatIsNotMissedIsLeftOutAndNoted()
{
    QFETCH(QString, line);
    QFETCH(QString, note);
    const HabitReader::Read read = typed(line.replace("URL"_L1, kUrl));
    QVERIFY2(read.complaint.isEmpty(), qPrintable(read.complaint));
    QCOMPARE(read.addresses, QStringList{kUrl});
    QVERIFY2(read.options.isEmpty(), qPrintable(read.options.join(u' ')));
    QCOMPARE(read.notes.size(), 1);
    QVERIFY2(read.notes.constFirst().startsWith(note) && read.notes.constFirst().endsWith(u'.'),
             qPrintable(read.notes.constFirst()));
}

void TestHabitReader::whatIsNotToBeHadIsSaid_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("part");
    const auto row = [](const char *name, const QString &line, const QString &part) {
        QTest::newRow(name) << line << part;
    };
    row("no certificate goes unchecked by a letter", u"-k URL"_s, u"write \"--insecure\""_s);
    row("nor among other letters", u"-skL URL"_s, u"write \"--insecure\""_s);
    row("two meanings with a number", u"-t 5 URL"_s,
        u"\"--tries\" to wget (write \"--tries N\"); \"--timeout\" to aria2"_s);
    row("two meanings with a text", u"-U x URL"_s, u"\"--proxy-user\" to curl"_s);
    row("three meanings", u"-T 5 URL"_s, u"\"--torrent-file\" to aria2"_s);
    row("a letter of ours that others have for proxies", u"-x http://p:1 URL"_s,
        u"\"--proxy\" to curl (write \"--proxy URL\")"_s);
    row("a letter of ours that others have for the head", u"-i URL"_s, u"\"-i\" is \"--input-file FILE\" here"_s);
    row("what there is not", u"--quota 1M URL"_s, u"\"--quota\" is no option here: "_s);
    row("an end that is set", u"--max-time 60 URL"_s, u"write \"timeout 60 plait …\""_s);
    row("an end that is none", u"--max-time x URL"_s, u"write \"timeout SECONDS plait …\""_s);
    row("no redirects at all", u"--max-redirs 0 URL"_s, u"up to 15 redirects"_s);
    row("no redirects away from https", u"--proto =https URL"_s, u"redirects are followed to http, too"_s);
    row("an error that does not pass", u"--retry-on-http-error=404,503 URL"_s, u"and no others"_s);
    row("a key that is to be looked at", u"--pinnedpubkey x URL"_s, u"\"--ca-certificate FILE\""_s);
    row("hosts without a proxy", u"--noproxy * URL"_s, u"write \"no_proxy='*' plait …\""_s);
    row("the best TLS alone", u"--secure-protocol=TLSv1_3 URL"_s, u"TLS is 1.2 or later"_s);
    row("links", u"-r URL"_s, u"no links are followed"_s);
    row("a name or letters", u"-Ofoo URL"_s, u"\"-O\" in \"-Ofoo\" has several meanings: \"--remote-name\" to curl"_s);
    row("the same behind another letter", u"-qOfile URL"_s, u"(write \"--output FILE\")"_s);
    row("a program's name in one word", u"-Ume URL"_s, u"\"-U\" has several meanings"_s);
    row("connections and letters", u"-s16x16 URL"_s, u"\"-s\" in \"-s16x16\" has several meanings"_s);
    row("a name with one dash", u"-output foo URL"_s, u"Write \"--output\""_s);
    row("another program's name with one dash", u"-continue-at - URL"_s, u"Write \"--continue-at\""_s);
    row("its value in the same word", u"-out=foo URL"_s, u"Write \"--out\""_s);
    row("help with one dash", u"-help URL"_s, u"Write \"--help\""_s);
    row("an equals sign behind a letter", u"-o=foo URL"_s, u"Put a blank in its place"_s);
    row("the same behind another program's letter", u"-P=sub URL"_s, u"behind the letter of \"-P\""_s);
    row("a value that is missing", u"URL --out"_s, u"\"--output\" needs a value, FILE."_s);
    row("a value of others that is missing", u"URL --retry"_s, u"\"--retry\" needs a value, N."_s);
    row("a password without a name", u"--password pw URL"_s, u"no name"_s);
    row("a proxy's login without a proxy", u"--proxy-user a:b URL"_s, u"stands in its address"_s);
    row("a body in a file", u"--data @f URL"_s, u"not read from the file \"f\""_s);
    row("a file or an address", u"-O example.com/x URL"_s, u"\"--output-document\" to wget"_s);
    row("a place to go on from", u"-C 100 URL"_s, u"Leave \"-C 100\" out"_s);
    row("a body that is a folder here", u"-X POST -d a=b URL"_s, u"\"-d\" is a folder here"_s);
    row("a method", u"-X DELETE URL"_s, u"\"DELETE\" without a body is not sent"_s);
}

void TestHabitReader::whatIsNotToBeHadIsSaid()
{
    QFETCH(QString, line);
    QFETCH(QString, part);
    const HabitReader::Read read = typed(line.replace("URL"_L1, kUrl));
    QVERIFY2(read.complaint.contains(part), qPrintable(read.complaint));
    QVERIFY2(read.complaint.endsWith(u'.') && !read.complaint.contains(u'\n'), qPrintable(read.complaint));
    QVERIFY(!read.options.contains(u"--insecure"_s));
}

void TestHabitReader::anotherProgramsLineIsWrittenInOurWords_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("options");
    addReadRow("curl's letters are curl's", u"curl -d a=1 -o x -x http://p:1 URL"_s,
               u"--output=x --proxy=http://p:1 --post-data=a=1"_s);
    addReadRow("wget's letters are wget's", u"wget -O x -P sub -t 3 -o log URL"_s,
               u"--output=x --dir=sub --tries=3 --log=log"_s);
    addReadRow("aria2's letters are aria2's", u"aria2c -x4 -s4 -j2 -d sub URL"_s,
               u"--max-connections-per-server=4 --max-connections=4 --max-downloads=2 --dir=sub"_s);
    addReadRow("names that are ours as well", u"wget --header=A:1 --limit-rate=5K URL"_s,
               u"--header=A:1 --limit-rate=5K"_s);
    addReadRow("a head alone", u"curl -I URL"_s, u"--query"_s);
    addReadRow("an address as an option", u"curl --url URL"_s, QString());
    addReadRow("a post that has its body", u"curl -X POST --data-raw @a URL"_s, u"--post-data=@a"_s);
    addReadRow("json", u"curl --json {} URL"_s,
               u"--header=Content-Type: application/json --header=Accept: application/json --post-data={}"_s);
}

void TestHabitReader::anotherProgramsLineIsWrittenInOurWords()
{
    QFETCH(QString, line);
    const HabitReader::Read read = imported(line.replace("URL"_L1, kUrl));
    QVERIFY2(read.complaint.isEmpty(), qPrintable(read.complaint));
    QCOMPARE(read.addresses, QStringList{kUrl});
    QVERIFY2(read.notes.isEmpty(), qPrintable(read.notes.join(u' ')));
    QTEST(read.options.join(u' '), "options");
}

void TestHabitReader::whatAnotherProgramsLineCannotDoIsSaid_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("part");
    QTest::newRow("a form") << u"curl -F a=1 URL"_s << u"there are no forms"_s;
    QTest::newRow("a part alone") << u"curl -r 0-9 URL"_s << u"files are fetched whole"_s;
    QTest::newRow("what goes up") << u"curl -T f URL"_s << u"nothing is sent"_s;
    QTest::newRow("links") << u"wget -r URL"_s << u"no links are followed"_s;
    QTest::newRow("what nobody knows") << u"curl --future x URL"_s << u"\"--future\" is not known here"_s;
    QTest::newRow("a letter of ours that is none there") << u"curl -W URL"_s << u"\"-W\" is not known here"_s;
}

void TestHabitReader::whatAnotherProgramsLineCannotDoIsSaid()
{
    QFETCH(QString, line);
    QFETCH(QString, part);
    const HabitReader::Read read = imported(line.replace("URL"_L1, kUrl));
    QVERIFY2(read.complaint.contains(part), qPrintable(read.complaint));
}

void TestHabitReader::whatIsLeftOutIsNoted()
{
    const HabitReader::Read read = imported(u"curl -k --compressed -m 5 -L http://h/f?a=1#x -G -d b=2"_s);
    QVERIFY2(read.complaint.isEmpty(), qPrintable(read.complaint));
    QCOMPARE(read.addresses, QStringList{u"http://h/f?a=1&b=2#x"_s});
    QVERIFY2(read.options.isEmpty(), qPrintable(read.options.join(u' ')));
    QCOMPARE(read.notes.size(), 3);
    QVERIFY(read.notes.constFirst().startsWith(u"\"-k\" is left out: write \"--insecure\""_s));
}

QTEST_GUILESS_MAIN(TestHabitReader)
#include "tst_habitreader.moc"
