// SPDX-License-Identifier: MIT
#include <cli/address.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestAddress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatWasMeant_data();
    void whatWasMeant();
};

void TestAddress::whatWasMeant_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("meant");
    const auto row = [](const char *name, const QString &text, const QString &meant) {
        QTest::newRow(name) << text << meant;
    };
    const QString whole = u"http://h.example/f?x=\"1\"#y"_s;
    row("a whole one stays", whole, whole);
    row("one of another scheme stays", u"magnet:?xt=urn"_s, u"magnet:?xt=urn"_s);
    row("the end of a line of another system", u"http://h/f\r"_s, u"http://h/f"_s);
    row("blanks and a mark of byte order around it", u"\ufeff  http://h/f \t"_s, u"http://h/f"_s);
    row("blanks inside stay", u"http://h/a b.iso"_s, u"http://h/a b.iso"_s);
    row("double quotes", u"\"http://h/f\""_s, u"http://h/f"_s);
    row("single quotes", u"'http://h/f'"_s, u"http://h/f"_s);
    row("quotes of a word processor", u"\u201chttp://h/f\u201d"_s, u"http://h/f"_s);
    row("brackets", u"<http://h/f>"_s, u"http://h/f"_s);
    row("quotes within brackets", u"< 'http://h/f' >"_s, u"http://h/f"_s);
    row("a quote on one side belongs to it", u"http://h/f'"_s, u"http://h/f'"_s);
    row("a host and a path", u"example.com/file"_s, u"https://example.com/file"_s);
    row("a host alone", u"example.com"_s, u"https://example.com"_s);
    row("a host and a query", u"example.com?f=1"_s, u"https://example.com?f=1"_s);
    row("a host of another alphabet", u"bücher.example/x"_s, u"https://bücher.example/x"_s);
    row("two slashes", u"//example.com/file"_s, u"https://example.com/file"_s);
    row("a host in brackets", u"<example.com/file>"_s, u"https://example.com/file"_s);
    row("this machine", u"localhost/file"_s, u"http://localhost/file"_s);
    row("this machine with a port", u"localhost:8000/file"_s, u"http://localhost:8000/file"_s);
    row("numbers", u"192.0.2.7/file"_s, u"http://192.0.2.7/file"_s);
    row("numbers of six", u"[2001:db8::1]:8080/file"_s, u"http://[2001:db8::1]:8080/file"_s);
    row("the port of http", u"example.com:80/file"_s, u"http://example.com:80/file"_s);
    row("the port of https", u"example.com:443/file"_s, u"https://example.com:443/file"_s);
    row("a port that is no number", u"example.com:http/f"_s, u"example.com:http/f"_s);
    row("a path of this folder", u"./file.iso"_s, u"./file.iso"_s);
    row("a path of the folder above", u"../a/file.iso"_s, u"../a/file.iso"_s);
    row("a path of the machine", u"/tmp/file.iso"_s, u"/tmp/file.iso"_s);
    row("a folder and a file", u"downloads/file.iso"_s, u"downloads/file.iso"_s);
    row("a word", u"lst"_s, u"lst"_s);
    row("a version", u"1.2.3"_s, u"1.2.3"_s);
    row("a login without a scheme", u"anna:b@example.com/f"_s, u"anna:b@example.com/f"_s);
    row("nothing", QString(), QString());
    row("quotes around nothing", u"\"\""_s, QString());
}

void TestAddress::whatWasMeant()
{
    QFETCH(QString, text);
    QFETCH(QString, meant);
    QCOMPARE(Address::meant(text), meant);
    QCOMPARE(Address::meant(meant), meant);
}

QTEST_GUILESS_MAIN(TestAddress)
#include "tst_address.moc"
