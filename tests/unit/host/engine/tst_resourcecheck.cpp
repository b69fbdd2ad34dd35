// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>
#include <host/engine/resourcecheck.h>
#include <tests/support/scriptedserver.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

using Finding = ResourceCheck::Finding;

namespace
{
constexpr qint64 kSize = 5000;
const QByteArray kPath = "/file.bin"_ba;
}
Q_DECLARE_METATYPE(ScriptedResponse)

/// Checks by the real module, of a file that was fetched before.
class TestResourceCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void theAnswerTells_data();
    void theAnswerTells();
    void theFileIsAskedForOnlyWhereItHasChanged();
    void nothingButTheSizeProvesNothing();
    void theAnswerIsWaitedFor();
    void redirectsAreFollowed();
    void whereNobodyAnswersItIsUnknown();
    void whereNothingWasFetchedItIsUnknown();
    void oneThatIsStoppedSaysNothing();
    void oneComesAfterTheOther();

private:
    static ScriptedResponse file(quint64 seed) { return ScriptedResponse::file(seed, kSize); }
    AbstractDownloadPersistentInfo fetch();
    ResourceCheck::Result resultOf(const AbstractDownloadPersistentInfo &record);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<DownloadSession> m_session;
    std::unique_ptr<ResourceCheck> m_check;
    QList<ResourceCheck::Result> m_results;
};

void TestResourceCheck::init()
{
    m_results.clear();
    m_dir = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<ScriptedServer>();
    m_server->setResponse(kPath, file(1));
    m_session = std::make_unique<DownloadSession>();
    SessionOptions options;
    options.listPath = m_dir->filePath(u"list.sqlite"_s);
    options.moduleFolders = {QStringLiteral(MODULE_FOLDER)};
    Failure failure;
    QVERIFY2(m_session->open(options, &failure), qPrintable(failure.plain()));
    m_check = std::make_unique<ResourceCheck>(*m_session);
    connect(m_check.get(), &ResourceCheck::checked, this,
            [this](const ResourceCheck::Result &result) { m_results.append(result); });
}

void TestResourceCheck::cleanup()
{
    m_check.reset();
    QSignalSpy closed(m_session.get(), &DownloadSession::closed);
    m_session->close();
    QTRY_COMPARE(closed.size(), 1);
    m_session.reset();
    m_server.reset();
}

AbstractDownloadPersistentInfo TestResourceCheck::fetch()
{
    DownloadRequest request;
    request.url = m_server->url(QString::fromLatin1(kPath));
    request.folder = m_dir->path();
    Failure failure;
    const qint64 id = m_session->add(request, &failure);
    QSignalSpy finished(m_session.get(), &DownloadSession::finished);
    if (!m_session->start(id, &failure) || (finished.isEmpty() && !finished.wait()))
        return {};
    return finished.first().at(1).value<AbstractDownloadPersistentInfo>();
}

ResourceCheck::Result TestResourceCheck::resultOf(const AbstractDownloadPersistentInfo &record)
{
    m_results.clear();
    m_check->begin(record);
    const bool isTold = m_results.isEmpty() && QTest::qWaitFor([this] { return !m_results.isEmpty(); });
    return isTold ? m_results.first() : ResourceCheck::Result{Finding(-1), false, {}, {}};
}

void TestResourceCheck::theAnswerTells_data()
{
    QTest::addColumn<ScriptedResponse>("response");
    QTest::addColumn<Finding>("finding");
    QTest::addColumn<int>("code");
    QTest::newRow("the same file") << file(1) << Finding::Same << 0;
    QTest::newRow("another file") << file(2) << Finding::Changed << 0;
    QTest::newRow("no such file") << ScriptedResponse::error(404) << Finding::Unknown << 404;
    QTest::newRow("a server in trouble") << ScriptedResponse::error(503) << Finding::Unknown << 503;
}

void TestResourceCheck::theAnswerTells()
{
    QFETCH(ScriptedResponse, response);
    const AbstractDownloadPersistentInfo record = fetch();
    QVERIFY(record.isFinished());
    m_server->setResponse(kPath, response);
    const ResourceCheck::Result result = resultOf(record);
    QTEST(result.finding, "finding");
    QCOMPARE(result.isProven, result.finding == Finding::Same);
    QTEST(result.error.code, "code");
}

void TestResourceCheck::theFileIsAskedForOnlyWhereItHasChanged()
{
    const AbstractDownloadPersistentInfo record = fetch();
    const ScriptedResponse before = file(1);
    m_server->setHandler(kPath, [before](const ScriptedRequest &request) {
        const bool isKnown = request.header("If-None-Match") == before.header("ETag")
            && request.header("If-Modified-Since") == before.header("Last-Modified");
        ScriptedResponse answer;
        answer.status = isKnown ? 304 : 400;
        return answer;
    });
    const ResourceCheck::Result result = resultOf(record);
    QCOMPARE(result.finding, Finding::Same);
    QVERIFY(result.isProven);
    QVERIFY(!m_server->requests().first().hasHeader("If-None-Match"));
}

void TestResourceCheck::nothingButTheSizeProvesNothing()
{
    ScriptedResponse bare = file(1);
    bare.headers.clear();
    m_server->setResponse(kPath, bare);
    const AbstractDownloadPersistentInfo record = fetch();
    const ResourceCheck::Result same = resultOf(record);
    QVERIFY(same.finding == Finding::Same && !same.isProven);
    // What the server says by now, it did not say then.
    m_server->setResponse(kPath, file(2));
    QVERIFY(!resultOf(record).isProven);
}

void TestResourceCheck::theAnswerIsWaitedFor()
{
    const AbstractDownloadPersistentInfo record = fetch();
    ScriptedResponse held = file(1);
    held.headGate = u"head"_s;
    m_server->setResponse(kPath, held);
    m_check->begin(record);
    QVERIFY(m_server->waitForHeld(u"head"_s));
    QCoreApplication::processEvents();
    QVERIFY(m_results.isEmpty());
    m_server->release(u"head"_s);
    QTRY_COMPARE(m_results.size(), 1);
    QCOMPARE(m_results.first().finding, Finding::Same);
}

void TestResourceCheck::redirectsAreFollowed()
{
    const AbstractDownloadPersistentInfo record = fetch();
    m_server->setResponse(kPath, ScriptedResponse::redirect("/there"_ba));
    m_server->setResponse("/there"_ba, file(2));
    QCOMPARE(resultOf(record).finding, Finding::Changed);
}

void TestResourceCheck::whereNobodyAnswersItIsUnknown()
{
    const AbstractDownloadPersistentInfo record = fetch();
    m_server->setResponse(kPath, ScriptedResponse::noAnswer());
    const ResourceCheck::Result result = resultOf(record);
    QCOMPARE(result.finding, Finding::Unknown);
    QVERIFY(result.error);
}

void TestResourceCheck::whereNothingWasFetchedItIsUnknown()
{
    AbstractDownloadPersistentInfo record = fetch();
    record.files.clear();
    const ResourceCheck::Result result = resultOf(record);
    QCOMPARE(result.finding, Finding::Unknown);
    QVERIFY(!result.error);
    QCOMPARE(result.failure.kind, Failure::Kind::NothingToCompare);
}

void TestResourceCheck::oneThatIsStoppedSaysNothing()
{
    const AbstractDownloadPersistentInfo record = fetch();
    ScriptedResponse held = file(1);
    held.headGate = u"head"_s;
    m_server->setResponse(kPath, held);
    m_check->begin(record);
    QVERIFY(m_server->waitForHeld(u"head"_s));
    m_check->stop();
    m_server->setResponse(kPath, file(2));
    // The next one is not taken for it.
    QCOMPARE(resultOf(record).finding, Finding::Changed);
    QCOMPARE(m_results.size(), 1);
    m_server->release(u"head"_s);
}

void TestResourceCheck::oneComesAfterTheOther()
{
    const AbstractDownloadPersistentInfo record = fetch();
    QCOMPARE(resultOf(record).finding, Finding::Same);
    m_server->setResponse(kPath, file(2));
    QCOMPARE(resultOf(record).finding, Finding::Changed);
    m_server->setResponse(kPath, file(1));
    QCOMPARE(resultOf(record).finding, Finding::Same);
}

QTEST_GUILESS_MAIN(TestResourceCheck)
#include "tst_resourcecheck.moc"
