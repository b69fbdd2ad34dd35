// SPDX-License-Identifier: MIT
#include <host/engine/queryresult.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
using Info = AbstractDownloadPersistentInfo;
using Resume = QueryResult::Resume;
}

Q_DECLARE_METATYPE(Resume)

class TestQueryResult : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theFileIsTakenFromTheRecord();
    void withoutAFileNothingIsKnown();
    void resume_data();
    void resume();
};

void TestQueryResult::theFileIsTakenFromTheRecord()
{
    AbstractDownloadFileInfo file;
    file.name = u"x.iso"_s;
    file.size = 5;
    file.contentType = u"application/x-iso"_s;
    Info info;
    info.url = QUrl(u"http://a/x"_s);
    info.finalUrl = QUrl(u"http://b/x.iso"_s);
    info.files = {file};
    const QueryResult expected{u"x.iso"_s, 5, u"application/x-iso"_s, Resume::Unknown, QUrl(u"http://b/x.iso"_s)};
    QCOMPARE(QueryResult::from(info, {}), expected);
}

void TestQueryResult::withoutAFileNothingIsKnown()
{
    Info info;
    info.url = QUrl(u"http://a/x"_s);
    const QueryResult expected{{}, -1, {}, Resume::Unknown, QUrl(u"http://a/x"_s)};
    QCOMPARE(QueryResult::from(info, {}), expected);
}

void TestQueryResult::resume_data()
{
    QTest::addColumn<qint32>("known");
    QTest::addColumn<QList<QString>>("headers");
    QTest::addColumn<Resume>("resume");

    const QList<QString> nothing{u"HTTP/1.1 200 OK"_s};
    const QList<QString> bytes{u"HTTP/1.1 200 OK"_s, u"accept-ranges:  Bytes "_s};
    const QList<QString> none{u"Accept-Ranges: none"_s};
    QTest::newRow("nothing is said") << qint32(Info::ResumeUnknown) << nothing << Resume::Unknown;
    QTest::newRow("the server announces it") << qint32(Info::ResumeUnknown) << bytes << Resume::Supported;
    QTest::newRow("the server denies it") << qint32(Info::ResumeUnknown) << none << Resume::NotSupported;
    QTest::newRow("a proof counts more than an announcement")
        << qint32(Info::ResumeNotSupported) << bytes << Resume::NotSupported;
    QTest::newRow("a proof without an announcement") << qint32(Info::ResumeSupported) << nothing << Resume::Supported;
}

void TestQueryResult::resume()
{
    QFETCH(qint32, known);
    QFETCH(QList<QString>, headers);
    Info info;
    info.resumeSupport = known;
    QTEST(QueryResult::from(info, headers).resume, "resume");
}

QTEST_GUILESS_MAIN(TestQueryResult)
#include "tst_queryresult.moc"
