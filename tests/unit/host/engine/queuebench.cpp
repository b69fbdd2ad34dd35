// SPDX-License-Identifier: MIT
#include <tests/unit/host/engine/queuebench.h>

#include <inet/qt/download/framework/abstractdownload.h>
#include <tests/unit/host/engine/fakemodule.h>

#include <QCoreApplication>
#include <QTest>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

QueueBench::QueueBench(const QueueOptions &options)
    : session(std::make_unique<DownloadSession>())
{
    SessionOptions sessionOptions;
    sessionOptions.listPath = listPath();
    sessionOptions.moduleFolders = {QStringLiteral(FAKE_MODULES) + "/good"_L1};
    if (!session->open(sessionOptions, &error))
        qFatal("%s", qPrintable(error.detail));
    queue = std::make_unique<BenchQueue>(*session, options);
    connect(queue.get(), &DownloadQueue::began, this, [this](qint64 id) {
        began.append(id);
        mostActive = std::max(mostActive, queue->activeIds().size());
    });
    connect(queue.get(), &DownloadQueue::retrying, this, [this](qint64 id, qint64 inMs, const QString &reason) {
        retries.append({id, inMs, reason});
    });
    connect(queue.get(), &DownloadQueue::decisionRequired, this,
            [this](qint64 id, Trouble::Kind kind, const QString &text) {
                questions.append({id, kind, text});
            });
    connect(queue.get(), &DownloadQueue::ended, this,
            [this](const DownloadOutcome &outcome) { outcomes.append(outcome); });
    connect(queue.get(), &DownloadQueue::drained, this, [this] { ++drained; });
}

QueueBench::~QueueBench()
{
    queue.reset();
    session.reset();
}

QueueOptions QueueBench::quickly()
{
    QueueOptions options;
    options.retryWaitMs = 1;
    return options;
}

QUrl QueueBench::urlOf(const QString &steps)
{
    static int hosts = 0;
    QUrl url(u"http://host%1"_s.arg(++hosts) + FakePaths::kSteps);
    url.setQuery(steps, QUrl::DecodedMode);
    return url;
}

qint64 QueueBench::add(const QString &steps, const DownloadOptions &options, const QList<QUrl> &mirrors)
{
    DownloadRequest request;
    request.url = urlOf(steps);
    request.folder = m_dir.path();
    request.mirrors = mirrors;
    request.options = options;
    return session->add(request, &error);
}

qint64 QueueBench::append(const QString &steps, const DownloadOptions &options, const QList<QUrl> &mirrors)
{
    const qint64 id = add(steps, options, mirrors);
    queue->append(id);
    return id;
}

bool QueueBench::run()
{
    const int before = drained;
    return QTest::qWaitFor([this, before] { return drained > before; }) && queue->isIdle();
}

void QueueBench::settle()
{
    for (int i = 0; i < 20; ++i) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
}

void QueueBench::tick()
{
    QMetaObject::invokeMethod(queue->findChild<QTimer *>(), "timeout");
}

int QueueBench::endsOf(qint64 id) const
{
    return int(std::count_if(outcomes.cbegin(), outcomes.cend(),
                             [id](const DownloadOutcome &outcome) { return outcome.id == id; }));
}

DownloadOutcome QueueBench::outcomeOf(qint64 id) const
{
    const auto it = std::find_if(outcomes.cbegin(), outcomes.cend(),
                                 [id](const DownloadOutcome &outcome) { return outcome.id == id; });
    return it == outcomes.cend() ? DownloadOutcome() : *it;
}

AbstractDownload *QueueBench::running(qint64 id) const
{
    const QList<AbstractDownload *> all = session->findChildren<AbstractDownload *>();
    const auto it = std::find_if(all.cbegin(), all.cend(),
                                 [id](const AbstractDownload *one) { return one->id() == id && one->isRunning(); });
    return it == all.cend() ? nullptr : *it;
}
