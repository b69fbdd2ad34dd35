// SPDX-License-Identifier: MIT
#include <cli/arrivinglist.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

QString shown(const AddressList::Option &option)
{
    return u"%1:%2"_s.arg(option.line).arg(option.name) + (option.value ? u"="_s + *option.value : QString());
}

/// "line:address address {line:name=value …}", one for each; strays behind "?".
QStringList shown(const AddressList &list)
{
    QStringList all;
    for (const AddressList::Entry &entry : list.entries) {
        QStringList options;
        for (const AddressList::Option &option : entry.options)
            options.append(shown(option));
        const QString own = options.isEmpty() ? QString() : u" {%1}"_s.arg(options.join(u' '));
        all.append(u"%1:%2"_s.arg(entry.line).arg(entry.addresses.join(u' ')) + own);
    }
    for (const AddressList::Option &stray : list.strays)
        all.append(u"?"_s + shown(stray));
    return all;
}

}

class TestAddressList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aListIsReadAsPeopleWriteIt_data();
    void aListIsReadAsPeopleWriteIt();
    void anAddressThatMayGetOptionsWaits_data();
    void anAddressThatMayGetOptionsWaits();
    void aListComesInPiecesOfAnySize();
};

void TestAddressList::aListIsReadAsPeopleWriteIt_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("read");
    const auto row = [](const char *title, const QString &text, const QStringList &read) {
        QTest::newRow(title) << text << read;
    };
    row("nothing", QString(), {});
    row("one a line", u"http://a/1\nhttp://b/2"_s, {u"1:http://a/1"_s, u"2:http://b/2"_s});
    row("blank lines and remarks count as lines", u"# mine\n\n   \n  # more\nhttp://a/1\n"_s, {u"5:http://a/1"_s});
    row("line ends of other systems", u"http://a/1\r\n  out=x\r\n\r\nhttp://b/2\r\n"_s,
        {u"1:http://a/1 {2:out=x}"_s, u"4:http://b/2"_s});
    row("a mark of byte order in front", u"\ufeffhttp://a/1\n"_s, {u"1:http://a/1"_s});
    row("a mark of byte order in front of a remark", u"\ufeff# mine\nhttp://a/1"_s, {u"2:http://a/1"_s});
    row("tabs part addresses of one file", u"http://a/1\thttp://b/1\t\thttp://c/1\t"_s,
        {u"1:http://a/1 http://b/1 http://c/1"_s});
    row("blanks around addresses", u"  http://a/1 \t http://b/1  "_s, {u"1:http://a/1 http://b/1"_s});
    row("blanks within one", u"http://a/one file.bin"_s, {u"1:http://a/one file.bin"_s});
    row("what is indented below", u"http://a/1\n  out=x.bin\n\tsplit=4\nhttp://b/2"_s,
        {u"1:http://a/1 {2:out=x.bin 3:split=4}"_s, u"4:http://b/2"_s});
    row("blanks around the sign", u"http://a/1\n out =  x y.bin  "_s, {u"1:http://a/1 {2:out=x y.bin}"_s});
    row("a sign within the value", u"http://a/1\n checksum=md5=00"_s, {u"1:http://a/1 {2:checksum=md5=00}"_s});
    row("an address within the value", u"http://a/1\n referer=http://c/?d=e"_s,
        {u"1:http://a/1 {2:referer=http://c/?d=e}"_s});
    row("an empty value", u"http://a/1\n referer="_s, {u"1:http://a/1 {2:referer=}"_s});
    row("a name alone", u"http://a/1\n insecure"_s, {u"1:http://a/1 {2:insecure}"_s});
    row("a remark between", u"http://a/1\n  # first\n\n  out=x"_s, {u"1:http://a/1 {4:out=x}"_s});
    row("an address that is indented and has a sign", u"  http://a/1?b=c\n  http://d/2#e=f"_s,
        {u"1:http://a/1?b=c"_s, u"2:http://d/2#e=f"_s});
    row("what would be an option is not indented", u"out=x"_s, {u"1:out=x"_s});
    row("an option with nothing above it", u"  out=x\nhttp://a/1"_s, {u"2:http://a/1"_s, u"?1:out=x"_s});
}

void TestAddressList::aListIsReadAsPeopleWriteIt()
{
    QFETCH(QString, text);
    QFETCH(QStringList, read);
    QCOMPARE(shown(AddressList::read(text)), read);
}

void TestAddressList::anAddressThatMayGetOptionsWaits_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<QStringList>("followed");
    QTest::addColumn<QStringList>("quiet");
    const auto row = [](const char *title, const QByteArrayList &pieces, const QStringList &followed,
                        const QStringList &quiet) { QTest::newRow(title) << pieces << followed << quiet; };
    const QString first = u"1:http://a/1"_s;
    const QString second = u"2:http://b/2"_s;
    row("nothing", {}, {}, {});
    row("one, and its line is not at its end", {"http://a/1"}, {}, {});
    row("one", {"http://a/1\n"}, {}, {first});
    row("two", {"http://a/1\nhttp://b/2\n"}, {first}, {second});
    row("two, and the second line is not at its end", {"http://a/1\nhttp://b/2"}, {}, {});
    row("a line that has only begun may be an option of the last", {"http://a/1\n  ou"}, {}, {});
    row("one with options", {"http://a/1\n  out=x\n"}, {}, {});
    row("who had options before may have more", {"http://a/1\n  out=x\nhttp://b/3\n"}, {u"1:http://a/1 {2:out=x}"_s},
        {});
    row("in pieces", {"http://a", "/1\nhttp:", "//b/2\n"}, {first}, {second});
    row("bad lines are said at once", {"  out=x\nhttp://a/1\n"}, {u"?1:out=x"_s}, {u"2:http://a/1"_s});
}

void TestAddressList::anAddressThatMayGetOptionsWaits()
{
    QFETCH(QByteArrayList, pieces);
    ArrivingList list;
    QStringList followed;
    for (const QByteArray &piece : std::as_const(pieces)) {
        list.add(piece);
        followed += shown(list.takeFollowed());
    }
    QTEST(followed, "followed");
    QTEST(shown(list.takeQuiet()), "quiet");
}

/// Characters of several bytes, too.
void TestAddressList::aListComesInPiecesOfAnySize()
{
    const QString text = u"http://a/ü\n  out=文\n# more\nhttp://b/2\thttp://c/2\r\n\nhttp://d/3"_s;
    const QStringList whole = shown(AddressList::read(text));
    for (int size = 1; size < 20; ++size) {
        ArrivingList list;
        QStringList read;
        const QByteArray bytes = text.toUtf8();
        for (qsizetype i = 0; i < bytes.size(); i += size) {
            list.add(bytes.mid(i, size));
            read += shown(list.takeFollowed());
        }
        QCOMPARE(read + shown(list.takeRest()), whole);
    }
}

QTEST_APPLESS_MAIN(TestAddressList)
#include "tst_addresslist.moc"
