// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/httpheadersparser.h>

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

using Headers = QList<std::pair<QByteArray, QByteArray>>;

namespace
{

const QUrl &fallbackUrl()
{
    static const QUrl url(u"http://host/dir/fallback.bin"_s);
    return url;
}

QString nameFor(const Headers &headers, const QUrl &url = fallbackUrl())
{
    return HttpHeadersParser(headers).fileName(url);
}

QString nameForDisposition(const QByteArray &value)
{
    return nameFor({{"Content-Disposition", value}});
}

QString nameForPath(const QString &path, const QByteArray &contentType)
{
    Headers headers;
    if (!contentType.isNull())
        headers.append({"Content-Type", contentType});
    return nameFor(headers, QUrl(u"http://host"_s + path));
}

bool holdsIllegalCharacter(const QString &name)
{
    const QString illegal = u"/?<>\\:*|\"\n"_s;
    return std::any_of(name.cbegin(), name.cend(), [&illegal](QChar c) { return illegal.contains(c); });
}

QByteArray encodedWord(const QByteArray &text)
{
    return "=?utf-8?b?" + text.toBase64() + "?=";
}

} // namespace

class TestFileName : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void localFile_data();
    void localFile();
    void contentDisposition_data();
    void contentDisposition();
    void illegalCharacter_data();
    void illegalCharacter();
    void headerNameIsNotGivenAnExtension_data();
    void headerNameIsNotGivenAnExtension();
    void headerNameComesBeforeTheUrl();
    void urlName_data();
    void urlName();
    void urlThatNamesNothing_data();
    void urlThatNamesNothing();
    void whiteSpaceAfterTheLastDot_data();
    void whiteSpaceAfterTheLastDot();
    void extensionOfTheContentType_data();
    void extensionOfTheContentType();
    void whatLiesInTheWorkingFolderTellsNothing_data();
    void whatLiesInTheWorkingFolderTellsNothing();
    void firstSuffixIsThePreferredOne_data();
    void firstSuffixIsThePreferredOne();
    void additionalExtensions_data();
    void additionalExtensions();
    void hostileNames_data();
    void hostileNames();
    void everySplitOfAHeader_data();
    void everySplitOfAHeader();
    void everyByteInEveryPlace();
    void longHostileHeaders_data();
    void longHostileHeaders();
};

void TestFileName::localFile_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::addColumn<QString>("name");

    QTest::newRow("a local file keeps its name") << QUrl(u"file:///tmp/a.bin"_s) << u"a.bin"_s;
    QTest::newRow("a local file gets no extension") << QUrl(u"file:///tmp/data"_s) << u"data"_s;
    QTest::newRow("a local name is decoded") << QUrl(u"file:///tmp/na%C3%AFve%20x"_s) << u"na\u00EFve x"_s;
    QTest::newRow("a local name loses illegal characters") << QUrl(u"file:///tmp/a%3Ab%2A.c"_s) << u"ab.c"_s;
    QTest::newRow("a local name of illegal characters alone leaves nothing")
        << QUrl(u"file:///tmp/%3A%2A"_s) << QString();
    QTest::newRow("an encoded slash separates like any other") << QUrl(u"file:///tmp/a%2Fb.c"_s) << u"b.c"_s;
    QTest::newRow("a local folder goes on to the header") << QUrl(u"file:///tmp/dir/"_s) << u"header.zip"_s;
    QTest::newRow("the root folder goes on to the header") << QUrl(u"file:///"_s) << u"header.zip"_s;
}

void TestFileName::localFile()
{
    QFETCH(QUrl, url);
    QTEST(nameFor({{"Content-Disposition", "attachment; filename=header.zip"}, {"Content-Type", "text/html"}}, url),
          "name");
}

void TestFileName::contentDisposition_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("name");

    const QString fallback = u"fallback.bin"_s;
    const QString naive = u"na\u00EFve.txt"_s;

    QTest::newRow("an extended name is percent-decoded")
        << QByteArray("attachment; filename*=UTF-8''na%C3%AFve.txt") << naive;
    QTest::newRow("an extended name in any case") << QByteArray("ATTACHMENT; FILENAME*=utf-8''na%c3%afve.txt") << naive;
    QTest::newRow("blanks before an extended name") << QByteArray("attachment; filename*=  UTF-8''a.txt") << u"a.txt"_s;
    QTest::newRow("a blank ends an extended name") << QByteArray("filename*=UTF-8''a.txt b") << u"a.txt"_s;
    QTest::newRow("a semicolon ends an extended name") << QByteArray("filename*=UTF-8''a.txt;size=1") << u"a.txt"_s;
    QTest::newRow("an extended name wins over a plain one before it")
        << QByteArray("attachment; filename=\"plain.txt\"; filename*=UTF-8''na%C3%AFve.txt") << naive;
    QTest::newRow("an extended name wins over a plain one behind it")
        << QByteArray("attachment; filename*=UTF-8''na%C3%AFve.txt; filename=plain.txt") << naive;
    QTest::newRow("the last extended name counts")
        << QByteArray("filename*=UTF-8''a.txt; filename*=UTF-8''b.txt") << u"b.txt"_s;
    QTest::newRow("an extended name with a language is not read")
        << QByteArray("filename*=UTF-8'en'a.txt; filename=b.txt") << u"b.txt"_s;
    QTest::newRow("an extended name in another charset is not read")
        << QByteArray("filename*=ISO-8859-1''%E9.txt; filename=b.txt") << u"b.txt"_s;
    QTest::newRow("an empty extended name leaves the plain one")
        << QByteArray("filename*=UTF-8''; filename=b.txt") << u"b.txt"_s;
    QTest::newRow("an extended name is read as Latin-1 bytes, so unencoded UTF-8 that fits Latin-1 is lost")
        << QByteArray("filename*=UTF-8''\xC3\xA9.txt") << u"\uFFFD.txt"_s;

    QTest::newRow("an encoded word is decoded")
        << QByteArray("attachment; filename=\"" + encodedWord("na\xC3\xAFve.txt") + '"') << naive;
    QTest::newRow("an encoded word in any case")
        << QByteArray("attachment; FileName=\"=?UTF-8?B?YS50eHQ=?=\"") << u"a.txt"_s;
    QTest::newRow("encoded words are joined without the blank between them")
        << QByteArray("filename=\"" + encodedWord("na\xC3\xAF") + ' ' + encodedWord("ve.txt") + '"') << naive;
    QTest::newRow("a character split over two encoded words is lost")
        << QByteArray("filename=\"" + encodedWord("a\xC3") + ' ' + encodedWord("\xAF.txt") + '"')
        << u"a\uFFFD\uFFFD.txt"_s;
    QTest::newRow("an encoded word with a path loses its separators")
        << QByteArray("filename=\"" + encodedWord("../etc/passwd") + '"') << u"..etcpasswd"_s;
    QTest::newRow("an encoded word is not percent-decoded")
        << QByteArray("filename=\"" + encodedWord("a%20b.txt") + '"') << u"a%20b.txt"_s;
    QTest::newRow("an encoded word that decodes to nothing is taken as it is written")
        << QByteArray("filename=\"=?utf-8?b?*?=\"") << u"=utf-8b="_s;
    QTest::newRow("an empty encoded word is taken as it is written")
        << QByteArray("filename=\"=?utf-8?b?\?=\"") << u"=utf-8b="_s;
    QTest::newRow("an encoded word with a broken tail gives what could be read")
        << QByteArray("filename=\"=?utf-8?b?YS50eHQ!?=\"") << u"a.txt"_s;
    QTest::newRow("a quoted-printable word is taken as it is written")
        << QByteArray("filename=\"=?utf-8?q?a?=\"") << u"=utf-8qa="_s;

    QTest::newRow("a quoted name") << QByteArray("attachment; filename=\"report.pdf\"") << u"report.pdf"_s;
    QTest::newRow("a quoted name in any case") << QByteArray("ATTACHMENT; FILENAME=\"report.pdf\"") << u"report.pdf"_s;
    QTest::newRow("a quoted name behind blanks") << QByteArray("filename=  \"report.pdf\"") << u"report.pdf"_s;
    QTest::newRow("a quoted name with a semicolon and blanks is whole")
        << QByteArray("filename=\"my report; final.pdf\"; size=10") << u"my report; final.pdf"_s;
    QTest::newRow("a quoted name ends at the next quote")
        << QByteArray("filename=\"a.txt\"; other=\"b.txt\"") << u"a.txt"_s;
    QTest::newRow("the first quoted name counts") << QByteArray("filename=\"a.txt\"; filename=\"b.txt\"") << u"a.txt"_s;
    QTest::newRow("a quoted name is percent-decoded") << QByteArray("filename=\"na%C3%AFve.txt\"") << naive;
    QTest::newRow("a quoted name in UTF-8") << QByteArray("filename=\"na\xC3\xAFve.txt\"") << naive;
    QTest::newRow("a quoted name in Latin-1") << QByteArray("filename=\"na\xEFve.txt\"") << naive;
    QTest::newRow("a character cut off at the end makes it Latin-1")
        << QByteArray("filename=\"na\xC3\xAFve.txt\"; x=\xC3") << u"na\u00C3\u00AFve.txt"_s;
    QTest::newRow("a quoted name beyond the basic plane")
        << QByteArray("filename=\"\xF0\x9F\x98\x80.txt\"") << u"\U0001F600.txt"_s;
    QTest::newRow("an escaped quote ends the name and its backslash goes")
        << QByteArray(R"(filename="a\"b.txt")") << u"a"_s;

    QTest::newRow("an unquoted name ends at the semicolon")
        << QByteArray("attachment; filename=report.pdf; size=10") << u"report.pdf"_s;
    QTest::newRow("an unquoted name ends with the header")
        << QByteArray("attachment; filename=report.pdf") << u"report.pdf"_s;
    QTest::newRow("an unquoted name alone") << QByteArray("filename=report.pdf") << u"report.pdf"_s;
    QTest::newRow("an unquoted name keeps its inner blanks")
        << QByteArray("filename=my report.pdf; size=10") << u"my report.pdf"_s;
    QTest::newRow("an unquoted name loses the blanks before it")
        << QByteArray("filename=  report.pdf") << u"report.pdf"_s;
    QTest::newRow("the last unquoted name counts") << QByteArray("filename=a.txt; filename=b.txt") << u"b.txt"_s;
    QTest::newRow("a quoted name wins over an unquoted one")
        << QByteArray("filename=a.txt; filename=\"b.txt\"") << u"b.txt"_s;
    QTest::newRow("an unquoted name is percent-decoded") << QByteArray("filename=na%C3%AFve.txt") << naive;
    QTest::newRow("an unquoted name in UTF-8") << QByteArray("filename=na\xC3\xAFve.txt") << naive;
    QTest::newRow("an unquoted name in Latin-1") << QByteArray("filename=na\xEFve.txt") << naive;
    QTest::newRow("a plus sign is no blank") << QByteArray("filename=a+b.txt") << u"a+b.txt"_s;

    QTest::newRow("slashes and colons are removed") << QByteArray("filename=\"a/b:c.zip\"") << u"abc.zip"_s;
    QTest::newRow("encoded slashes are removed") << QByteArray("filename*=UTF-8''..%2F..%2Fa.zip") << u"....a.zip"_s;
    QTest::newRow("a name of illegal characters alone leaves nothing") << QByteArray("filename=\"/:*\"") << QString();

    QTest::newRow("no header value leaves the URL") << QByteArray("") << fallback;
    QTest::newRow("a header without a name leaves the URL") << QByteArray("attachment") << fallback;
    QTest::newRow("an empty name leaves the URL") << QByteArray("attachment; filename=") << fallback;
    QTest::newRow("an empty quoted name leaves the URL") << QByteArray("attachment; filename=\"\"") << fallback;
    QTest::newRow("a quote never closed leaves the URL") << QByteArray("attachment; filename=\"report.pdf") << fallback;
    QTest::newRow("a blank before the equals sign leaves the URL")
        << QByteArray("attachment; filename =a.txt") << fallback;
    QTest::newRow("another parameter leaves the URL") << QByteArray("attachment; name=a.txt") << fallback;
}

void TestFileName::contentDisposition()
{
    QFETCH(QByteArray, value);
    QTEST(nameForDisposition(value), "name");
}

void TestFileName::illegalCharacter_data()
{
    QTest::addColumn<char>("character");
    QTest::newRow("slash") << '/';
    QTest::newRow("question mark") << '?';
    QTest::newRow("less-than sign") << '<';
    QTest::newRow("greater-than sign") << '>';
    QTest::newRow("backslash") << '\\';
    QTest::newRow("colon") << ':';
    QTest::newRow("asterisk") << '*';
    QTest::newRow("vertical bar") << '|';
    QTest::newRow("double quote") << '"';
    QTest::newRow("line feed") << '\n';
}

void TestFileName::illegalCharacter()
{
    QFETCH(char, character);
    const QByteArray encoded = QByteArray(2, character).toPercentEncoding();
    const QByteArray text = encoded + 'a' + encoded + "b.c" + encoded;
    QCOMPARE(nameForDisposition("filename*=UTF-8''" + text), u"ab.c"_s);
    QCOMPARE(nameForDisposition("filename=\"" + text + '"'), u"ab.c"_s);
    QCOMPARE(nameForDisposition("filename=" + text), u"ab.c"_s);
    // A separator at the end of a path would make it a folder.
    const QByteArray inPath = encoded + 'a' + encoded + "b.c";
    QCOMPARE(nameForPath(u'/' + QString::fromLatin1(inPath), {}), character == '/' ? u"b.c"_s : u"ab.c"_s);
}

void TestFileName::headerNameIsNotGivenAnExtension_data()
{
    QTest::addColumn<QByteArray>("contentType");
    QTest::newRow("of a page") << QByteArray("text/html");
    QTest::newRow("of an archive") << QByteArray("application/zip");
    QTest::newRow("of text") << QByteArray("text/plain");
    QTest::newRow("of an unknown type") << QByteArray("text/x-nobody-knows");
    QTest::newRow("of nothing") << QByteArray();
}

void TestFileName::headerNameIsNotGivenAnExtension()
{
    QFETCH(QByteArray, contentType);
    QCOMPARE(nameFor({{"Content-Disposition", "attachment; filename=\"report\""}, {"Content-Type", contentType}}),
             u"report"_s);
}

void TestFileName::headerNameComesBeforeTheUrl()
{
    const Headers headers = {{"content-disposition", "attachment; filename=a.txt"}};
    QCOMPARE(nameFor(headers, QUrl(u"http://host/b.txt"_s)), u"a.txt"_s);
    QCOMPARE(nameFor(headers, QUrl()), u"a.txt"_s);
}

void TestFileName::urlName_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QString>("name");

    const QByteArray none;
    const QByteArray html = "text/html; charset=UTF-8";

    QTest::newRow("a name with an extension stays") << u"/a/file.zip"_s << none << u"file.zip"_s;
    QTest::newRow("a name with an extension stays whatever the type") << u"/file.zip"_s << html << u"file.zip"_s;
    QTest::newRow("a tar archive of its own type stays")
        << u"/file.tar"_s << QByteArray("application/x-tar") << u"file.tar"_s;
    QTest::newRow("an extension nobody knows stays") << u"/file.qqq"_s << html << u"file.qqq"_s;
    QTest::newRow("a hidden file stays") << u"/.profile"_s << html << u".profile"_s;
    QTest::newRow("an inner blank before the dot does not matter") << u"/my%20file.zip"_s << html << u"my file.zip"_s;
    QTest::newRow("an earlier dot with a rest behind it is enough") << u"/a.b."_s << html << u"a.b."_s;
    QTest::newRow("a name is percent-decoded") << u"/na%C3%AFve.txt"_s << none << u"na\u00EFve.txt"_s;
    QTest::newRow("an encoded slash separates like any other") << u"/a%2Fb.zip"_s << none << u"b.zip"_s;
    QTest::newRow("a query is no part of the name") << u"/file.zip?x=y.exe"_s << none << u"file.zip"_s;
    QTest::newRow("a fragment is no part of the name") << u"/file.zip#part.exe"_s << none << u"file.zip"_s;
    QTest::newRow("an encoded question mark is removed") << u"/a%3Fb.zip"_s << none << u"ab.zip"_s;

    QTest::newRow("a folder served as a page is index.html") << u"/dir/"_s << html << u"index.html"_s;
    QTest::newRow("a folder without a type is index.html") << u"/dir/"_s << none << u"index.html"_s;
    QTest::newRow("no path without a type is index.html") << QString() << none << u"index.html"_s;
    QTest::newRow("no path served as a page is index.html") << QString() << html << u"index.html"_s;
    QTest::newRow("the root served as text is index") << u"/"_s << QByteArray("text/plain") << u"index"_s;
    QTest::newRow("a name of illegal characters alone becomes the default") << u"/%3A%2A"_s << none << u"index.html"_s;

    QTest::newRow("a name without an extension or type becomes a page") << u"/data"_s << none << u"data.html"_s;
    QTest::newRow("an empty type counts as none") << u"/data"_s << QByteArray("") << u"data.html"_s;
    QTest::newRow("a name served as text stays") << u"/data"_s << QByteArray("text/plain") << u"data"_s;
    QTest::newRow("a name served as text with a charset stays")
        << u"/data"_s << QByteArray("Text/Plain; charset=UTF-8") << u"data"_s;
    QTest::newRow("a name served as a page becomes one") << u"/data"_s << html << u"data.html"_s;
    QTest::newRow("an unknown kind of text becomes a page")
        << u"/data"_s << QByteArray("text/x-nobody-knows") << u"data.html"_s;
    QTest::newRow("an unknown kind of text in capitals becomes a page")
        << u"/data"_s << QByteArray("TEXT/X-NOBODY-KNOWS") << u"data.html"_s;
    QTest::newRow("an unknown type adds nothing") << u"/data"_s << QByteArray("x/nobody-knows") << u"data"_s;
    QTest::newRow("a type that is only parameters adds nothing") << u"/data"_s << QByteArray("; q=1") << u"data"_s;
    QTest::newRow("a stream of bytes adds nothing")
        << u"/data"_s << QByteArray("application/octet-stream") << u"data"_s;

    QTest::newRow("a name that ends with its dot becomes a page") << u"/data."_s << none << u"data..html"_s;
    QTest::newRow("white space after the last dot is no extension, but a suffix bars the default")
        << u"/release%201.2%20beta"_s << none << u"release 1.2 beta"_s;
    QTest::newRow("white space after the last dot is no extension for a page")
        << u"/release%201.2%20beta"_s << html << u"release 1.2 beta.html"_s;
    QTest::newRow("white space after the last dot is no extension for text")
        << u"/release%201.2%20beta"_s << QByteArray("text/plain") << u"release 1.2 beta"_s;
}

void TestFileName::urlName()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, contentType);
    QTEST(nameForPath(path, contentType), "name");
}

void TestFileName::urlThatNamesNothing_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::newRow("an empty URL") << QUrl();
    QTest::newRow("a URL that cannot be parsed") << QUrl(u"http://[broken"_s);
    QTest::newRow("a host alone") << QUrl(u"http://host"_s);
    QTest::newRow("a host with a query") << QUrl(u"http://host?name=a.zip"_s);
    QTest::newRow("a local folder") << QUrl(u"file:///tmp/"_s);
}

void TestFileName::urlThatNamesNothing()
{
    QFETCH(QUrl, url);
    QCOMPARE(nameFor({}, url), u"index.html"_s);
    QCOMPARE(nameFor({{"Content-Type", "text/html"}}, url), u"index.html"_s);
    QCOMPARE(nameFor({{"Content-Type", "text/plain"}}, url), u"index"_s);
}

void TestFileName::whiteSpaceAfterTheLastDot_data()
{
    QTest::addColumn<char16_t>("space");
    QTest::newRow("tab") << u'\t';
    QTest::newRow("vertical tab") << u'\v';
    QTest::newRow("form feed") << u'\f';
    QTest::newRow("carriage return") << u'\r';
    QTest::newRow("blank") << u' ';
    QTest::newRow("next line") << char16_t(0x85);
    QTest::newRow("no-break space") << char16_t(0xA0);
    QTest::newRow("em space") << char16_t(0x2003);
    QTest::newRow("line separator") << char16_t(0x2028);
    QTest::newRow("ideographic space") << char16_t(0x3000);
}

void TestFileName::whiteSpaceAfterTheLastDot()
{
    QFETCH(char16_t, space);
    const QString name = u"a.b"_s + QChar(space) + u'c';
    QUrl url(u"http://host/"_s);
    url.setPath(u'/' + name, QUrl::DecodedMode);
    QCOMPARE(nameFor({{"Content-Type", "text/html"}}, url), name + u".html"_s);
}

void TestFileName::extensionOfTheContentType_data()
{
    QTest::addColumn<QByteArray>("mime");
    QTest::newRow("a picture") << QByteArray("image/png");
    QTest::newRow("a document") << QByteArray("application/pdf");
    QTest::newRow("an archive") << QByteArray("application/zip");
    QTest::newRow("a tar archive") << QByteArray("application/x-tar");
    QTest::newRow("a compressed file") << QByteArray("application/x-compress");
    QTest::newRow("a sound") << QByteArray("audio/mpeg");
    QTest::newRow("a film") << QByteArray("video/mp4");
    QTest::newRow("a page") << QByteArray("text/html");
}

void TestFileName::extensionOfTheContentType()
{
    QFETCH(QByteArray, mime);
    const QMimeType type = QMimeDatabase().mimeTypeForName(QString::fromLatin1(mime));
    QVERIFY(type.isValid());

    const QStringList extensions =
        QStringList{type.preferredSuffix()} + type.suffixes() + HttpHeadersParser({}).additionalExtensions(type);
    QString expected = u"data"_s;
    for (const QString &extension : extensions) {
        if (extension.isEmpty())
            continue;
        expected = u"data."_s + extension;
        break;
    }
    QCOMPARE(nameForPath(u"/data"_s, mime), expected);
    QCOMPARE(nameForPath(u"/data"_s, mime + "; q=1"), expected);
    QCOMPARE(nameForPath(u"/dir/"_s, mime), u"index"_s + expected.mid(4));
    QCOMPARE(nameForPath(u"/data.own"_s, mime), u"data.own"_s);
}

void TestFileName::whatLiesInTheWorkingFolderTellsNothing_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QString>("name");
    const QByteArray picture("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
    QTest::newRow("no file") << QByteArray() << "image/png"_ba << u"data.png"_s;
    QTest::newRow("a picture of the same name") << picture << "image/png"_ba << u"data.png"_s;
    QTest::newRow("a text of the same name") << "plain words\n"_ba
                                             << "application/zip"_ba << u"data.zip"_s;
    QTest::newRow("a page of the same name") << "<!DOCTYPE html><html></html>"_ba
                                             << "text/html"_ba << u"data.html"_s;
}

void TestFileName::whatLiesInTheWorkingFolderTellsNothing()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, contentType);
    const QTemporaryDir folder;
    if (!content.isEmpty()) {
        QFile file(folder.filePath(u"data"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }
    const QString before = QDir::currentPath();
    const auto goBack = qScopeGuard([&before] { QDir::setCurrent(before); });
    QVERIFY(QDir::setCurrent(folder.path()));
    QTEST(nameForPath(u"/data"_s, contentType), "name");
}

void TestFileName::firstSuffixIsThePreferredOne_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("mime");
    QTest::addColumn<QString>("name");

    QTest::newRow("png") << u"/data"_s << QByteArray("image/png") << u"data.png"_s;
    QTest::newRow("pdf") << u"/data"_s << QByteArray("application/pdf") << u"data.pdf"_s;
    QTest::newRow("zip") << u"/data"_s << QByteArray("application/zip") << u"data.zip"_s;
    QTest::newRow("tar") << u"/data"_s << QByteArray("application/x-tar") << u"data.tar"_s;
    QTest::newRow("a name that implies the type by itself stays")
        << u"/Makefile"_s << QByteArray("text/x-makefile") << u"Makefile"_s;
    QTest::newRow("a name that implies a kind of the type stays")
        << u"/SConstruct"_s << QByteArray("text/x-python") << u"SConstruct"_s;
    QTest::newRow("a name that implies another type gets the extension")
        << u"/Makefile"_s << QByteArray("text/html") << u"Makefile.html"_s;
}

void TestFileName::firstSuffixIsThePreferredOne()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, mime);
    QTEST(nameForPath(path, mime), "name");
}

void TestFileName::additionalExtensions_data()
{
    QTest::addColumn<QString>("mime");
    QTest::addColumn<QStringList>("extensions");
    QTest::newRow("a tar archive may be a tgz") << u"application/x-tar"_s << QStringList{u"tgz"_s};
    QTest::newRow("a compressed file may be a pkg") << u"application/x-compress"_s << QStringList{u"pkg"_s};
    QTest::newRow("a page has none") << u"text/html"_s << QStringList();
    QTest::newRow("gzip has none") << u"application/gzip"_s << QStringList();
    QTest::newRow("a type that does not exist has none") << u"no/such"_s << QStringList();
}

void TestFileName::additionalExtensions()
{
    QFETCH(QString, mime);
    QTEST(HttpHeadersParser({}).additionalExtensions(QMimeDatabase().mimeTypeForName(mime)), "extensions");
}

void TestFileName::hostileNames_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("the folder above") << QByteArray("..");
    QTest::newRow("the folder itself") << QByteArray(".");
    QTest::newRow("a path upward") << QByteArray("../../etc/passwd");
    QTest::newRow("an encoded path upward") << QByteArray("..%2f..%2Fetc%2fpasswd");
    QTest::newRow("a path with backslashes") << QByteArray("..\\..\\boot.ini");
    QTest::newRow("an absolute path") << QByteArray("/etc/passwd");
    QTest::newRow("a drive") << QByteArray("C:\\a.exe");
    QTest::newRow("a stream behind a name") << QByteArray("a.txt:evil");
    QTest::newRow("slashes alone") << QByteArray("////");
    QTest::newRow("an encoded zero") << QByteArray("a%00b.txt");
    QTest::newRow("a real zero") << QByteArray("a\0b.txt", 7);
    QTest::newRow("encoded line ends") << QByteArray("a%0D%0Ab.txt");
    QTest::newRow("real line ends") << QByteArray("a\r\nb.txt");
    QTest::newRow("control characters") << QByteArray("\x01\x02\x1b[31m\x7f.txt");
    QTest::newRow("a lone percent sign") << QByteArray("%");
    QTest::newRow("percent signs alone") << QByteArray("%%%%");
    QTest::newRow("an encoding cut short") << QByteArray("a%4");
    QTest::newRow("an encoding that is no number") << QByteArray("a%zz%G1b");
    QTest::newRow("an encoded character cut short") << QByteArray("%C3");
    QTest::newRow("an encoded surrogate") << QByteArray("a%ED%A0%80/b");
    QTest::newRow("an over-long encoding of a slash") << QByteArray("a%C0%AFb");
    QTest::newRow("a byte order mark") << QByteArray("\xEF\xBB\xBF/a.txt");
    QTest::newRow("text turned around") << QByteArray("a\xE2\x80\xAEtxt.exe");
    QTest::newRow("bytes that are no text") << QByteArray("\xFF\xFE\xFD.bin");
    QTest::newRow("a very long name") << QByteArray(50000, 'a');
    QTest::newRow("a very long name of dots") << QByteArray(50000, '.');
    QTest::newRow("a very long encoded name") << QByteArray("%2F").repeated(20000);
    QTest::newRow("blanks alone") << QByteArray("   ");
}

void TestFileName::hostileNames()
{
    QFETCH(QByteArray, text);
    const QByteArray forms[] = {"filename*=UTF-8''" + text, "filename=\"" + text + '"', "filename=" + text,
                                "filename=\"" + encodedWord(text) + '"', "filename=\"=?utf-8?b?" + text + "?=\""};
    for (const QByteArray &form : forms)
        QVERIFY2(!holdsIllegalCharacter(nameForDisposition(form)), form.left(80).constData());

    for (const char *type : {"", "text/html", "text/plain", "application/x-tar", "no/such"}) {
        const Headers headers = {{"Content-Type", type}};
        QVERIFY(!holdsIllegalCharacter(nameFor(headers, QUrl(u"http://host/"_s + QString::fromLatin1(text)))));
        QUrl decoded(u"http://host/"_s);
        decoded.setPath(u'/' + QString::fromLatin1(text), QUrl::DecodedMode);
        QVERIFY(!holdsIllegalCharacter(nameFor(headers, decoded)));
        QVERIFY(!nameFor(headers, decoded).isEmpty());
    }
}

void TestFileName::everySplitOfAHeader_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("an extended name") << QByteArray(
        "attachment; filename=\"na_ve.txt\"; filename*=UTF-8''na%C3%AFve%2F..%00.txt; size=10");
    QTest::newRow("encoded words") << QByteArray("attachment; filename=\"" + encodedWord("na\xC3\xAF/") + ' '
                                                 + encodedWord("\xFF.txt") + "\"; x");
    QTest::newRow("a quoted name with a broken encoding")
        << QByteArray("inline; filename=\"a\\\"b%zz%2\xC3\xAF/..;=*''?.txt\"; filename = \"\"; filename=");
    QTest::newRow("an unquoted name in two encodings") << QByteArray("filename=\xC3\xAF\xEF/a:b\\c;filename=\xE2\x80;");
    QTest::newRow("beginnings without ends")
        << QByteArray("filename*=UTF-8'filename=\"=?utf-8?b?filename=\"filename*=");
}

void TestFileName::everySplitOfAHeader()
{
    QFETCH(QByteArray, value);
    for (qsizetype at = 0; at <= value.size(); ++at) {
        const QByteArray head = value.left(at);
        const QByteArray tail = value.mid(at);
        for (const QByteArray &piece : {head, tail, QByteArray(tail + head), QByteArray(head + '"' + tail),
                                        QByteArray(head + '\0' + tail), QByteArray(head + "\r\n " + tail)}) {
            QVERIFY2(!holdsIllegalCharacter(nameForDisposition(piece)), piece.constData());
        }
        for (qsizetype end = at; end <= value.size(); ++end)
            QVERIFY(!holdsIllegalCharacter(nameForDisposition(value.mid(at, end - at))));
    }
}

void TestFileName::everyByteInEveryPlace()
{
    const QByteArray value = "a; filename=\"b\"; filename*=UTF-8''%41";
    for (qsizetype at = 0; at < value.size(); ++at) {
        for (int byte = 0; byte < 256; ++byte) {
            QByteArray changed = value;
            changed[at] = static_cast<char>(byte);
            QVERIFY(!holdsIllegalCharacter(nameForDisposition(changed)));
        }
    }
}

void TestFileName::longHostileHeaders_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("the parameter's name, over and over") << QByteArray("filename=").repeated(10000);
    QTest::newRow("opened quotes, over and over") << QByteArray("filename=\"").repeated(10000);
    QTest::newRow("extended names begun, over and over") << QByteArray("filename*=UTF-8'").repeated(6000);
    QTest::newRow("encoded words begun, over and over") << QByteArray("filename=\"=?utf-8?b?").repeated(5000);
    QTest::newRow("encoded words, over and over")
        << QByteArray("filename=\"" + QByteArray("=?utf-8?b?YQ==?= ").repeated(6000) + '"');
    QTest::newRow("blanks behind the equals sign") << QByteArray("filename=" + QByteArray(100000, ' '));
    QTest::newRow("blanks behind every equals sign") << QByteArray("filename=" + QByteArray(100, ' ')).repeated(900);
    QTest::newRow("one long quoted name") << QByteArray("filename=\"" + QByteArray(100000, 'a') + '"');
    QTest::newRow("quotes alone") << QByteArray(100000, '"');
    QTest::newRow("letters that nearly begin the parameter") << QByteArray("filenam").repeated(14000);
    QTest::newRow("line feeds between") << QByteArray("filename\n=").repeated(10000);
}

void TestFileName::longHostileHeaders()
{
    QFETCH(QByteArray, value);
    QVERIFY(!holdsIllegalCharacter(nameForDisposition(value)));
}

QTEST_GUILESS_MAIN(TestFileName)
#include "tst_filename.moc"
