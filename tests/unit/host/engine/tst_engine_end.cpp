// SPDX-License-Identifier: MIT
#include <host/engine/localengine.h>
#include <tests/support/scriptedserver.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDirIterator>
#include <QEvent>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 64;
constexpr qint64 kSize = 2'000'000;
constexpr auto kGate = "gate"_L1;

/// By their names. Qt's own and the test server's have none of these, nor have those that are no engine's: the process
/// keeps the ones that have disks take files, and libcurl has let go of the one in which a name is being looked up.
QStringList enginesThreads()
{
    static const QStringList all{u"hasher"_s, u"list"_s, u"network"_s, u"stream hasher"_s, u"writers"_s};
    QStringList found;
    QDirIterator tasks(u"/proc/self/task"_s, QDir::Dirs | QDir::NoDotAndDotDot);
    while (tasks.hasNext()) {
        QFile file(tasks.next() + "/comm"_L1);
        const QString name = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll().trimmed()) : QString();
        if (all.contains(name))
            found.append(name);
    }
    return found;
}

}

/// Which of an engine's own threads are left once it is gone, in a program that goes on or ends: none.
class TestEngineEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void noThreadOutlivesAnEngine();

private:
    void begin(const QUrl &url);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<Engine> m_engine;
};

void TestEngineEnd::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<ScriptedServer>();
    m_server->setFallback([](const ScriptedRequest &) {
        ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
        response.holdAfter = kSize / 4;
        response.holdGate = kGate;
        return response;
    });
}

/// What an engine leaves behind is memory that an event loop gives back.
void TestEngineEnd::cleanup()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// The server is asked for it and says half of what it has to say.
void TestEngineEnd::begin(const QUrl &url)
{
    m_engine = std::make_unique<LocalEngine>();
    EngineOptions options;
    options.session.listPath = m_dir->filePath(u"list.sqlite"_s);
    options.session.moduleFolders = {QStringLiteral(MODULE_FOLDER)};
    m_engine->open(options);
    DownloadRequest request;
    request.url = url;
    request.folder = m_dir->path();
    m_engine->add(request, true);
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->requests().isEmpty(), ScriptedServer::kPatienceMs);
}

void TestEngineEnd::noThreadOutlivesAnEngine()
{
    begin(m_server->url(u"/file.bin"_s));
    QVERIFY(enginesThreads().contains(u"network"_s));
    QSignalSpy closed(m_engine.get(), &Engine::closed);
    m_engine->close();
    QTRY_COMPARE_WITH_TIMEOUT(closed.size(), 1, ScriptedServer::kPatienceMs);
    m_engine.reset();
    // Who has been waited for is listed for a moment longer. No event is looked at meanwhile: there may be no loop.
    const QDeadlineTimer patience(ScriptedServer::kPatienceMs);
    while (!enginesThreads().isEmpty() && !patience.hasExpired())
        QThread::yieldCurrentThread();
    QCOMPARE(enginesThreads(), QStringList());
}

QTEST_GUILESS_MAIN(TestEngineEnd)
#include "tst_engine_end.moc"
