// SPDX-License-Identifier: MIT
#include <cli/tracewords.h>

#include <QTest>

using namespace Qt::StringLiterals;

class TestTraceWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatOfTheLogIsTold_data();
    void whatOfTheLogIsTold();
};

void TestTraceWords::whatOfTheLogIsTold_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("words");
    const auto row = [](const char *name, const QString &line, const QString &words) {
        QTest::newRow(name) << u"[Download #3] "_s + line << (words.isEmpty() ? words : u"[3] "_s + words);
    };
    row("a request", u"GET /a.iso HTTP/1.1"_s, u"> GET /a.iso HTTP/1.1"_s);
    row("the server that is asked", u"Host: 127.0.0.1"_s, u"> Host: 127.0.0.1"_s);
    row("the part that is asked for", u"Range: bytes=5-"_s, u"> Range: bytes=5-"_s);
    row("a status", u"HTTP/1.1 302 Found"_s, u"< HTTP/1.1 302 Found"_s);
    row("where it leads", u"location: /b.iso"_s, u"< location: /b.iso"_s);
    row("what says nothing of the way", u"Server: nginx/1.22.1"_s, {});
    row("a secret", u"Authorization: Basic c2VjcmV0"_s, {});
    row("a section that begins", u"section #2 started (offset: 5, size: 5, done: 0)"_s,
        u"section #2 started (offset: 5, size: 5, done: 0)"_s);
    row("an error in words",
        u"section #1 error: {ERROR: |CODE|: 1, |CATEGORY|: QtNetworkError, |SOURCE|: a.cpp,283, |DESCRIPTION|: "
        u"Connection refused}"_s,
        u"section #1 failed: Connection refused"_s);
    row("an error without",
        u"section #1 error: {ERROR: |CODE|: 404, |CATEGORY|: HttpError, |SOURCE|: a.cpp,6, |DESCRIPTION|: }"_s,
        u"section #1 failed: HttpError 404"_s);
    row("the part of an unchanged file that is asked for", u"If-Range: \"7\""_s, u"> If-Range: \"7\""_s);
    row("when to come again", u"Retry-After: 5"_s, u"< Retry-After: 5"_s);
    row("a section that took too long", u"section #2 timed out"_s, u"section #2 timed out"_s);
    row("another file", u"resource is changed"_s, u"resource is changed"_s);
    row("a login in an address", u"Location: http://anna:secret@h/x"_s, u"< Location: http://…@h/x"_s);
    row("words in the middle of a line", u"a Host: h"_s, {});
    row("what goes on inside", u"sections running: 1"_s, {});
    QTest::newRow("what is of no download") << u"Host: x"_s << QString();
}

void TestTraceWords::whatOfTheLogIsTold()
{
    QFETCH(QString, line);
    QTEST(TraceWords::of(line), "words");
}

QTEST_GUILESS_MAIN(TestTraceWords)
#include "tst_tracewords.moc"
