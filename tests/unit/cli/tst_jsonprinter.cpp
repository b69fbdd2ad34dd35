// SPDX-License-Identifier: MIT
#include <cli/jsonprinter.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QTextStream>

using namespace Qt::StringLiterals;

class TestJsonPrinter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void everyEventIsOneObjectOnOneLine();
    void theSummaryHoldsEverything();
    void aQueryHoldsEverything();
    void errorsAreToldToPeopleToo();

private:
    QList<QJsonObject> events() const;

    QString m_eventsText;
    QString m_notesText;
};

void TestJsonPrinter::init()
{
    m_eventsText.clear();
    m_notesText.clear();
}

QList<QJsonObject> TestJsonPrinter::events() const
{
    QList<QJsonObject> objects;
    const QStringList lines = m_eventsText.split(u'\n', Qt::SkipEmptyParts);
    for (const QString &line : lines)
        objects.append(QJsonDocument::fromJson(line.toUtf8()).object());
    return objects;
}

void TestJsonPrinter::everyEventIsOneObjectOnOneLine()
{
    QTextStream answers(&m_eventsText);
    QTextStream notes(&m_notesText);
    JsonPrinter printer(answers, notes);
    printer.begin(QUrl(u"http://host/a b"_s));
    DownloadStatus status;
    status.done = 5;
    status.total = 10;
    status.speed = 3;
    status.connections = 2;
    printer.progress(u"naïve\n.iso"_s, status);
    printer.warn(u"look here"_s);
    const QList<QJsonObject> all = events();
    QCOMPARE(all.size(), 3);
    QCOMPARE(all.at(0), (QJsonObject{{u"event"_s, u"begin"_s}, {u"url"_s, u"http://host/a%20b"_s}}));
    QCOMPARE(all.at(1),
             (QJsonObject{{u"event"_s, u"progress"_s},
                          {u"name"_s, u"naïve\n.iso"_s},
                          {u"done"_s, 5},
                          {u"total"_s, 10},
                          {u"speed"_s, 3},
                          {u"connections"_s, 2}}));
    QCOMPARE(all.at(2), (QJsonObject{{u"event"_s, u"warning"_s}, {u"text"_s, u"look here"_s}}));
    QVERIFY(m_eventsText.endsWith(u'\n'));
}

void TestJsonPrinter::theSummaryHoldsEverything()
{
    QTextStream answers(&m_eventsText);
    QTextStream notes(&m_notesText);
    JsonPrinter printer(answers, notes);
    Summary summary;
    summary.url = QUrl(u"http://host/x"_s);
    summary.error = {404, "HttpError", "here,1", "gone"};
    summary.path = u"/tmp/x.iso.part"_s;
    summary.bytes = 5;
    summary.seconds = 1.5;
    summary.connections = 3;
    summary.connectionsBound = u"limit"_s;
    summary.status = ExitStatus::NotFound;
    printer.end(summary);
    QCOMPARE(events(),
             (QList<QJsonObject>{{{u"event"_s, u"summary"_s},
                                  {u"url"_s, u"http://host/x"_s},
                                  {u"code"_s, 404},
                                  {u"category"_s, u"HttpError"_s},
                                  {u"description"_s, u"gone"_s},
                                  {u"path"_s, u"/tmp/x.iso.part"_s},
                                  {u"bytes"_s, 5},
                                  {u"seconds"_s, 1.5},
                                  {u"connections"_s, 3},
                                  {u"connections_bound"_s, u"limit"_s},
                                  {u"status"_s, 3}}}));
    QVERIFY(m_notesText.isEmpty());
}

void TestJsonPrinter::aQueryHoldsEverything()
{
    QTextStream answers(&m_eventsText);
    QTextStream notes(&m_notesText);
    JsonPrinter printer(answers, notes);
    printer.queried({u"x.iso"_s, -1, u"text/plain"_s, QueryResult::Resume::NotSupported, QUrl(u"http://host/x"_s)});
    QCOMPARE(events(),
             (QList<QJsonObject>{{{u"event"_s, u"query"_s},
                                  {u"name"_s, u"x.iso"_s},
                                  {u"size"_s, -1},
                                  {u"type"_s, u"text/plain"_s},
                                  {u"resume"_s, u"no"_s},
                                  {u"url"_s, u"http://host/x"_s}}}));
}

void TestJsonPrinter::errorsAreToldToPeopleToo()
{
    QTextStream answers(&m_eventsText);
    QTextStream notes(&m_notesText);
    JsonPrinter printer(answers, notes);
    Summary summary;
    summary.errorText = u"cannot do it."_s;
    printer.end(summary);
    printer.warn(u"look here"_s);
    QCOMPARE(m_notesText, u"plait: cannot do it.\nplait: look here\n"_s);
}

QTEST_GUILESS_MAIN(TestJsonPrinter)
#include "tst_jsonprinter.moc"
