// SPDX-License-Identifier: MIT
#include <cli/headersnote.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestHeadersNote : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsSaidWhereNothingIsMissing();
    void oneHeaderIsNamedWithWhatToType();
    void severalHeadersAreNamedInOneSentence();
};

void TestHeadersNote::nothingIsSaidWhereNothingIsMissing()
{
    QCOMPARE(HeadersNote::missing(7, {}), QString());
}

void TestHeadersNote::oneHeaderIsNamedWithWhatToType()
{
    QCOMPARE(HeadersNote::missing(7, {{u"X-Vault-Token"_s, {}, {}}}),
             u"download 7 was begun with the header \"X-Vault-Token\", whose value is not kept. If the server asks for "
             u"it, give it again: --header 'X-Vault-Token: …'"_s);
}

void TestHeadersNote::severalHeadersAreNamedInOneSentence()
{
    QCOMPARE(HeadersNote::missing(7, {{u"Cookie"_s, {}, {}}, {u"X-Key"_s, {}, u"*"_s}}),
             u"download 7 was begun with the headers \"Cookie\", \"X-Key\", whose values are not kept. If the server "
             u"asks for them, give them again: --header 'Cookie: …' --header-for-all 'X-Key: …'"_s);
}

QTEST_GUILESS_MAIN(TestHeadersNote)
#include "tst_headersnote.moc"
