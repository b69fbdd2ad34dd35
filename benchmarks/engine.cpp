// SPDX-License-Identifier: MIT
#include <benchmarks/engine.h>

#include <host/engine/localengine.h>
#include <host/storage/downloadlist.h>
#include <tests/support/nginxserver.h>
#include <tests/support/testca.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <array>
#include <ctime>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

using Order = SnapshotQuery::Order;

constexpr int kRows = 100000;
constexpr qint64 kScatter = 7919;
constexpr qint64 kFirstTime = 1700000000;
constexpr qint64 kPage = 50;
constexpr int kRounds = 5;
/// A transfer's time depends on what else the machine does at that moment more than on the changes.
constexpr int kTransferRounds = 9;
constexpr int kWaiting = 1000;
constexpr int kChangesPerSecond = 1000;
constexpr int kChangesIntervalMs = 10;
/// So many changes without an answer, and no more are given.
constexpr int kMostUnanswered = 1000;
constexpr qint64 kSize = 1024 * 1048576LL;
constexpr quint64 kSeed = 14;
const QString kFileName = u"file.bin"_s;

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

QString number(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}

AbstractDownloadPersistentInfo recordOf(int number, const QString &folder)
{
    AbstractDownloadPersistentInfo record;
    record.url = QUrl(u"http://127.0.0.1:1/%1"_s.arg(number));
    record.folder = folder;
    record.creationTime = QDateTime::fromSecsSinceEpoch(kFirstTime + number);
    record.setFinished(number % 2 == 1, true);
    AbstractDownloadFileInfo file;
    file.name = u"name %1"_s.arg(number * kScatter % kRows);
    file.size = number;
    file.sections = {AbstractDownloadSection{0, number, 0}};
    record.files = {file};
    return record;
}

/// Every second row is finished.
bool makeList(const QString &path)
{
    DownloadList list;
    const QString folder = QFileInfo(path).absolutePath();
    return list.open(path) && list.together([&](DownloadStore &store) {
        for (int number = 1; number <= kRows; ++number) {
            AbstractDownloadPersistentInfo record = recordOf(number, folder);
            if (store.insert(record) == 0)
                return false;
        }
        return true;
    });
}

/// An engine on the list, and the calls to it that are waited for.
class Bench
{
    Q_DISABLE_COPY_MOVE(Bench)

public:
    explicit Bench(const QString &listPath)
        : m_engine(std::make_unique<LocalEngine>())
    {
        EngineOptions options;
        options.session.listPath = listPath;
        options.session.moduleFolders = {QStringLiteral(MODULE_FOLDER)};
        options.queue.mostAtOnce = 1;
        m_isOpen = ask([&](const Engine::Callback &done) { m_engine->open(options, done); }).isOk();
    }
    ~Bench()
    {
        QEventLoop loop;
        QObject::connect(m_engine.get(), &Engine::closed, &loop, &QEventLoop::quit);
        m_engine->close();
        loop.exec();
    }

    bool isOpen() const { return m_isOpen; }
    Engine &engine() { return *m_engine; }

    static EngineAnswer ask(const std::function<void(const Engine::Callback &)> &command)
    {
        std::optional<EngineAnswer> given;
        QEventLoop loop;
        command([&](const EngineAnswer &answer) {
            given = answer;
            loop.quit();
        });
        if (!given)
            loop.exec();
        return given.value_or(EngineAnswer());
    }

private:
    std::unique_ptr<Engine> m_engine;
    bool m_isOpen = false;
};

/// ms; none = it was not answered as it should be
std::optional<double> timeOf(Bench &bench, const SnapshotQuery &query)
{
    QList<double> times;
    for (int round = 0; round < kRounds; ++round) {
        QElapsedTimer clock;
        clock.start();
        const EngineAnswer answer =
            Bench::ask([&](const Engine::Callback &done) { bench.engine().snapshots(query, done); });
        times.append(double(clock.nsecsElapsed()) / 1e6);
        if (!answer.isOk() || answer.snapshots.size() != query.count)
            return std::nullopt;
    }
    return median(times);
}

bool runPages(const QString &listPath, QTextStream &out)
{
    constexpr std::pair<Order, const char *> kOrders[] = {{Order::Position, "position"},
                                                          {Order::Newest, "newest"},
                                                          {Order::Created, "created"},
                                                          {Order::Name, "name"},
                                                          {Order::Size, "size"}};
    constexpr std::pair<ListFilter, const char *> kFilters[] = {
        {ListFilter::All, "all"}, {ListFilter::Unfinished, "unfinished"}, {ListFilter::Done, "finished"}};
    Bench bench(listPath);
    if (!bench.isOpen())
        return false;
    out << kPage << " of " << kRows << " rows, ms from the call to the answer, medians of " << kRounds
        << ": the first page, one in the middle\n";
    for (const auto &[order, orderName] : kOrders) {
        for (const auto &[filter, filterName] : kFilters) {
            const auto first = timeOf(bench, {0, kPage, filter, order});
            const auto middle = timeOf(bench, {kRows / 4, kPage, filter, order});
            if (!first || !middle)
                return false;
            out << "  " << QString::fromLatin1(orderName).leftJustified(10)
                << QString::fromLatin1(filterName).leftJustified(12) << number(*first, 1).rightJustified(8)
                << number(*middle, 1).rightJustified(8) << '\n'
                << Qt::flush;
        }
    }
    return true;
}

/// What happens beside a transfer.
enum class Beside {
    Nothing,
    Client, ///< as many calls of the client's own as there would be changes, without the engine
    Changes,
};
constexpr Beside kBeside[] = {Beside::Nothing, Beside::Client, Beside::Changes};
constexpr const char *kBesideNames[] = {"alone", "beside the client's own calls", "beside changes"};

/// Limits of what waits are changed, and it is paused and resumed, so many times a second.
class Changes : public QObject
{
public:
    Changes(Engine &engine, const QList<qint64> &ids, Beside beside)
        : m_engine(engine)
        , m_ids(ids)
        , m_beside(beside)
    {
        m_timer.setInterval(kChangesIntervalMs);
        m_timer.setTimerType(Qt::PreciseTimer);
        connect(&m_timer, &QTimer::timeout, this, &Changes::give);
    }

    void start()
    {
        if (m_beside == Beside::Nothing)
            return;
        m_clock.start();
        m_timer.start();
    }
    void stop() { m_timer.stop(); }
    int answered() const { return m_answered; }
    int unanswered() const { return m_unanswered; }
    int refused() const { return m_refused; }

private:
    void give()
    {
        while (m_given < m_clock.elapsed() * kChangesPerSecond / 1000 && m_unanswered < kMostUnanswered)
            giveOne();
    }

    void giveOne()
    {
        const qint64 id = m_ids.at(m_given / 3 % m_ids.size());
        ++m_unanswered;
        const auto done = [this](const EngineAnswer &answer) {
            --m_unanswered;
            ++m_answered;
            m_refused += answer.isOk() ? 0 : 1;
        };
        if (m_beside == Beside::Client) {
            ++m_given;
            return done({});
        }
        switch (m_given++ % 3) {
        case 0:
            return m_engine.setLimits(id, {1000 + m_given, 2, 1}, done);
        case 1:
            return m_engine.pause(id, done);
        default:
            return m_engine.resume(id, done);
        }
    }

    Engine &m_engine;
    const QList<qint64> m_ids;
    const Beside m_beside;
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_given = 0;
    int m_answered = 0;
    int m_unanswered = 0;
    int m_refused = 0;
};

struct Transfer {
    double seconds = 0;
    double processorSeconds = 0; ///< of engine and client
    double rate = 0; ///< answers a second to what was asked beside it
};

double medianOf(const QList<Transfer> &transfers, double Transfer::*member)
{
    QList<double> values;
    for (const Transfer &transfer : transfers)
        values.append(transfer.*member);
    return median(values);
}

bool isSameFile(const QString &one, const QString &other)
{
    return QProcess::execute(u"cmp"_s, {u"-s"_s, one, other}) == 0;
}

/// Behind it stand others, which wait for as long as it runs.
std::optional<Transfer> transfer(const QString &listPath, const QUrl &url, const QString &original, Beside beside)
{
    Bench bench(listPath);
    const QTemporaryDir target;
    DownloadRequest request;
    request.url = url;
    request.folder = target.path();
    QEventLoop loop;
    QElapsedTimer clock;
    std::clock_t begin = 0;
    Transfer found;
    qint64 id = 0;
    QList<qint64> waiting;
    for (qint64 i = 1; i <= kWaiting; ++i)
        waiting.append(2 * i);
    Changes changes(bench.engine(), waiting, beside);
    Snapshot last;
    QObject::connect(&bench.engine(), &Engine::changed, &loop, [&](const Snapshot &row) {
        if (row.id != id || (row.state != DownloadState::Done && row.state != DownloadState::Failed))
            return;
        found.seconds = double(clock.elapsed()) / 1000;
        found.processorSeconds = double(std::clock() - begin) / CLOCKS_PER_SEC;
        found.rate = changes.answered() / found.seconds;
        last = row;
        changes.stop();
        bench.engine().pauseAll();
        loop.quit();
    });
    if (!Bench::ask([&](const Engine::Callback &done) { bench.engine().prepare(done); }).isOk())
        return std::nullopt;
    clock.start();
    begin = std::clock();
    id = Bench::ask([&](const Engine::Callback &done) { bench.engine().add(request, true, done); }).ids.value(0);
    for (const qint64 other : std::as_const(waiting))
        bench.engine().resume(other);
    changes.start();
    loop.exec();
    while (changes.unanswered() > 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const bool isRight =
        last.state == DownloadState::Done && changes.refused() == 0 && isSameFile(target.filePath(kFileName), original);
    return isRight ? std::optional(found) : std::nullopt;
}

bool runChanges(const QString &listPath, QTextStream &out)
{
    TestCa ca;
    NginxServer server;
    if (!server.start(ca) || !server.addFile(kFileName, kSeed, kSize)) {
        out << "nginx: " << server.errorText() << '\n';
        return false;
    }
    const QString original = QDir(server.folder()).filePath(kFileName);
    std::array<QList<Transfer>, std::size(kBeside)> transfers;
    for (std::size_t i = 0; i < kTransferRounds * std::size(kBeside); ++i) {
        // Each is the first of as many rounds.
        const Beside beside = kBeside[(i + i / std::size(kBeside)) % std::size(kBeside)];
        const auto found = transfer(listPath, server.url(u'/' + kFileName), original, beside);
        if (!found)
            return false;
        transfers.at(std::size_t(beside)).append(*found);
    }
    out << kSize / 1048576 << " MiB, " << kWaiting << " downloads waiting, medians of " << kTransferRounds << '\n';
    const double alone = medianOf(transfers.front(), &Transfer::seconds);
    for (std::size_t i = 0; i < transfers.size(); ++i) {
        const double seconds = medianOf(transfers.at(i), &Transfer::seconds);
        out << "  " << kBesideNames[i] << ", " << number(medianOf(transfers.at(i), &Transfer::rate), 0)
            << " a second: " << number(seconds, 2) << " s, " << number(seconds / alone, 3) << " times as long; "
            << number(medianOf(transfers.at(i), &Transfer::processorSeconds), 2) << " s of processors\n"
            << Qt::flush;
    }
    return true;
}

}

bool runEngine(QTextStream &out)
{
    const QTemporaryDir home;
    const QString listPath = home.filePath(u"downloads.sqlite"_s);
    if (!makeList(listPath)) {
        out << "cannot make the list\n";
        return false;
    }
    if (runPages(listPath, out) && runChanges(listPath, out))
        return true;
    out << "  failed\n";
    return false;
}
