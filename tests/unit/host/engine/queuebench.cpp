// SPDX-License-Identifier: MIT
#include <tests/unit/host/engine/queuebench.h>

#include <inet/qt/download/framework/abstractdownload.h>
#include <tests/unit/host/engine/fakemodule.h>
#include <tests/unit/host/engine/queuesteps.h>

#include <QCoreApplication>
#include <QTest>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

const QString kLater = u"fail/HttpError/503/10/Retry-After: 600"_s;

DownloadOptions with(Trouble::Policy policy)
{
    DownloadOptions options;
    options.onChanged = int(policy);
    return options;
}

DownloadOptions withChecksum()
{
    DownloadOptions options;
    options.checksumAlgorithm = u"md5"_s;
    options.checksumHex = QString(32, u'0');
    return options;
}

}

const QList<QPair<const char *, QueueBench::Place>> QueueBench::kPlaces{
    {"waiting", Place::Waiting},
    {"appended just now", Place::Beginning},
    {"running", Place::Running},
    {"between two attempts", Place::BetweenAttempts},
    {"about to be fetched from the beginning", Place::BeforeARestart},
    {"asking", Place::Asking},
    {"hashing", Place::Hashing},
};

QueueBench::QueueBench(const QueueOptions &options)
    : session(std::make_unique<DownloadSession>())
{
    SessionOptions sessionOptions;
    sessionOptions.listPath = listPath();
    sessionOptions.moduleFolders = {QStringLiteral(FAKE_MODULES) + "/good"_L1};
    if (!session->open(sessionOptions, &error))
        qFatal("%s", qPrintable(error.plain()));
    queue = std::make_unique<BenchQueue>(*session, options);
    connect(queue.get(), &DownloadQueue::began, this, [this](qint64 id) {
        began.append(id);
        mostActive = std::max(mostActive, queue->activeIds().size());
    });
    connect(queue.get(), &DownloadQueue::retrying, this,
            [this](qint64, const Warning &retry) { retries.append(retry); });
    connect(queue.get(), &DownloadQueue::decisionRequired, this, [this](qint64 id, Trouble::Kind kind) {
        questions.append({id, kind});
    });
    connect(queue.get(), &DownloadQueue::ended, this,
            [this](const DownloadOutcome &outcome) { outcomes.append(outcome); });
    connect(queue.get(), &DownloadQueue::stateChanged, this, &QueueBench::onStateChanged);
    connect(queue.get(), &DownloadQueue::neverBegan, this, [this](qsizetype count) { neverBegan += count; });
    connect(queue.get(), &DownloadQueue::drained, this, [this] { ++drained; });
}

QueueBench::~QueueBench()
{
    if (!illegal.isEmpty())
        QTest::qFail(qPrintable(illegal.join(u'\n')), __FILE__, __LINE__);
    queue.reset();
    session.reset();
}

QueueOptions QueueBench::quickly()
{
    QueueOptions options;
    options.retryWaitMs = 1;
    return options;
}

QueueOptions QueueBench::oneAtATime()
{
    QueueOptions options = quickly();
    options.mostAtOnce = 1;
    options.canAsk = true;
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

qint64 QueueBench::bring(Place place)
{
    const auto wait = [](const auto &condition) { return QTest::qWaitFor(condition); };
    qint64 id = 0;
    bool isThere = true;
    switch (place) {
    case Place::Waiting: {
        const qint64 first = append(u"run;done"_s);
        id = append(u"done"_s);
        isThere = wait([&] { return running(first) != nullptr; }) && queue->waitingCount() == 1;
        break;
    }
    case Place::Beginning:
        id = append(u"done"_s);
        break;
    case Place::Running:
        id = append(u"run;done"_s);
        isThere = wait([&] { return running(id) != nullptr; });
        break;
    case Place::BetweenAttempts:
        id = append(kLater + u";done"_s);
        isThere = wait([&] { return !retries.isEmpty(); });
        break;
    case Place::BeforeARestart: {
        bool isBefore = false;
        connect(queue.get(), &DownloadQueue::retrying, this, [&isBefore] { isBefore = true; });
        id = append(kChanged + u";done"_s, with(Trouble::Policy::Restart));
        isThere = wait([&] { return isBefore; });
        break;
    }
    case Place::Asking:
        id = append(kChanged + u";done"_s, with(Trouble::Policy::Ask));
        isThere = wait([&] { return !questions.isEmpty(); });
        break;
    case Place::Hashing: {
        // The queue has heard of the end first, and the hash needs the event loop for its answer.
        bool isOver = false;
        connect(session.get(), &DownloadSession::finished, this, [&isOver] { isOver = true; });
        id = append(u"done"_s, withChecksum());
        while (!isOver)
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        isThere = outcomes.isEmpty();
        break;
    }
    }
    return isThere ? id : 0;
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

void QueueBench::onStateChanged(qint64 id, DownloadState from, DownloadState to)
{
    QList<DownloadState> &known = states[id];
    const DownloadState last = known.isEmpty() ? DownloadState::Paused : known.last();
    // What has ended may be appended again, and is then no longer known as what it was.
    const bool isNew = from == DownloadState::Paused && to == DownloadState::Waiting;
    if ((from != last && !isNew) || !downloadStates().allows(from, to))
        illegal.append(u"download %1 came from %2 to %3, and was %4"_s.arg(
            QString::number(id), downloadStates().nameOf(from), downloadStates().nameOf(to),
            downloadStates().nameOf(last)));
    known.append(to);
}
