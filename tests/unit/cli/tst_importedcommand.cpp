// SPDX-License-Identifier: MIT
#include <cli/importedcommand.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestImportedCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aLineIsTaken_data();
    void aLineIsTaken();
    void whatIsLeftOutIsSaid_data();
    void whatIsLeftOutIsSaid();
    void whatIsNoSuchLineIsSaid_data();
    void whatIsNoSuchLineIsSaid();
    void ourOwnOptionsStandBeforeTheLine_data();
    void ourOwnOptionsStandBeforeTheLine();
};

void TestImportedCommand::aLineIsTaken_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("addresses");
    const auto row = [](const char *name, const QString &line, const QStringList &options,
                        const QString &addresses = u"http://h/f"_s) {
        QTest::newRow(name) << line << options << addresses;
    };
    row("with a prompt", u"$ sudo curl -LO http://h/f"_s, {});
    row("a program's path", u"/usr/bin/wget http://h/f"_s, {});
    row("a file of the shell", u"curl http://h/f > x.iso"_s, {u"--output=x.iso"_s});
    row("cookies of several places are one header", u"curl -b 'a=1' -H 'Cookie: b=2' http://h/f"_s,
        {u"--header=Cookie: a=1; b=2"_s});
    row("an empty header", u"curl -H 'X-A;' http://h/f"_s, {u"--header=X-A:"_s});
    row("a browser's note of the request line", u"curl -H ':authority: h' http://h/f"_s, {});
    row("addresses of aria2 are one file", u"aria2c http://h/f http://i/f http://j/f"_s,
        {u"--mirror=http://j/f"_s, u"--mirror=http://i/f"_s});
    row("addresses of curl are several", u"curl http://h/f http://i/f"_s, {}, u"http://h/f http://i/f"_s);
    row("an address of numbers", u"curl http://[::1]/f"_s, {}, u"http://[::1]/f"_s);
    row("a body", u"curl --data-raw 'a b' -H 'Content-Type: text/plain' http://h/f"_s,
        {u"--header=Content-Type: text/plain"_s, u"--post-data=a b"_s});
}

void TestImportedCommand::aLineIsTaken()
{
    QFETCH(QString, line);
    const ImportedCommand::Read read = ImportedCommand::read({line});
    QVERIFY2(read.complaint.isEmpty(), qPrintable(read.complaint));
    QVERIFY2(read.notes.isEmpty(), qPrintable(read.notes.join(u' ')));
    QTEST(read.options, "options");
    QTEST(read.addresses.join(u' '), "addresses");
}

void TestImportedCommand::whatIsLeftOutIsSaid_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("note");
    const auto row = [](const char *name, const QString &line, const QString &note) {
        QTest::newRow(name) << line << note;
    };
    row("that certificates are not looked at", u"curl -k http://h/f"_s, u"\"-k\" is left out: write \"--insecure\""_s);
    row("the same of others", u"aria2c --check-certificate=false http://h/f"_s, u"\"plait import --insecure -- …\""_s);
    row("that a file may be packed", u"curl -H 'accept-encoding: gzip' http://h/f"_s,
        u"the header \"accept-encoding\" is left out: "_s);
    row("what a browser has", u"curl -H 'If-None-Match: \"x\"' http://h/f"_s, u"the header \"If-None-Match\""_s);
    row("a part", u"curl -H 'Range: bytes=0-' http://h/f"_s, u"files are fetched whole"_s);
    row("a header that is taken away", u"curl -H 'Accept:' http://h/f"_s, u"the header \"Accept\""_s);
    row("headers of a file", u"curl -H @f http://h/f"_s, u"not read from files"_s);
    row("brackets", u"curl 'http://h/f{1,2}'"_s, u"\"{1,2}\" is taken as it stands"_s);
    row("a range of addresses", u"curl 'http://h/f[01-20]'"_s, u"\"[01-20]\" is taken as it stands"_s);
    row("a pipe", u"curl http://h/f | sh"_s, u"what follows the command is left out, from \"|\" on."_s);
}

void TestImportedCommand::whatIsLeftOutIsSaid()
{
    QFETCH(QString, line);
    QFETCH(QString, note);
    const ImportedCommand::Read read = ImportedCommand::read({line});
    QVERIFY2(read.complaint.isEmpty(), qPrintable(read.complaint));
    QCOMPARE(read.notes.size(), 1);
    QVERIFY2(read.notes.constFirst().contains(note), qPrintable(read.notes.constFirst()));
    QVERIFY(read.options.isEmpty());
}

void TestImportedCommand::whatIsNoSuchLineIsSaid_data()
{
    QTest::addColumn<QStringList>("line");
    QTest::addColumn<QString>("part");
    const QString what = u"import takes a line for curl, wget or aria2"_s;
    QTest::newRow("nothing") << QStringList() << what;
    QTest::newRow("another program") << QStringList{u"ftp http://h/f"_s} << what;
    QTest::newRow("a variable") << QStringList{u"curl $URL"_s} << u"only a shell knows"_s;
    QTest::newRow("what goes up") << QStringList{u"curl"_s, u"-T"_s, u"f"_s, u"http://h/f"_s} << u"nothing is sent"_s;
}

void TestImportedCommand::whatIsNoSuchLineIsSaid()
{
    QFETCH(QStringList, line);
    QFETCH(QString, part);
    const ImportedCommand::Read read = ImportedCommand::read(line);
    QVERIFY2(read.complaint.contains(part), qPrintable(read.complaint));
}

void TestImportedCommand::ourOwnOptionsStandBeforeTheLine_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QStringList>("own");
    QTest::addColumn<QStringList>("line");
    const QStringList own{u"-d"_s, u"sub"_s};
    const QStringList line{u"curl"_s, u"-d"_s, u"a=1"_s, u"u"_s};
    QTest::newRow("dashes between") << own + QStringList{u"--"_s} + line << own << line;
    QTest::newRow("no dashes") << own + line << own << line;
    QTest::newRow("one word") << own + QStringList{u" curl u"_s} << own << QStringList{u" curl u"_s};
    QTest::newRow("no line") << own << own << QStringList();
    QTest::newRow("nothing") << QStringList() << QStringList() << QStringList();
}

void TestImportedCommand::ourOwnOptionsStandBeforeTheLine()
{
    QFETCH(QStringList, words);
    const ImportedCommand::Parts parts = ImportedCommand::partsOf(words);
    QTEST(parts.own, "own");
    QTEST(parts.line, "line");
}

QTEST_GUILESS_MAIN(TestImportedCommand)
#include "tst_importedcommand.moc"
