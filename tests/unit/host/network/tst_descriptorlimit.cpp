// SPDX-License-Identifier: MIT
#include <host/network/descriptorlimit.h>

#include <QTest>

#include <optional>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

/// What a process has of its limit, and makes of it.
struct Found {
    long connections = 0;
    long limit = 0; ///< that it works with from then on
};

/// In a process of its own: the system is asked once in each, and what was given up does not come back.
std::optional<Found> foundUnder(long soft, long hard)
{
    int ends[2];
    if (::pipe(ends) != 0)
        return {};
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit given{rlim_t(soft), rlim_t(hard)};
        Found found;
        rlimit now{};
        if (::setrlimit(RLIMIT_NOFILE, &given) == 0) {
            found.connections = DescriptorLimit::connections();
            ::getrlimit(RLIMIT_NOFILE, &now);
            found.limit = long(now.rlim_cur);
        }
        ::_exit(::write(ends[1], &found, sizeof found) == ssize_t(sizeof found) ? 0 : 1);
    }
    Found found;
    const bool isRead = ::read(ends[0], &found, sizeof found) == ssize_t(sizeof found);
    ::waitpid(child, nullptr, 0);
    ::close(ends[0]);
    ::close(ends[1]);
    return isRead && found.connections > 0 ? std::optional<Found>(found) : std::nullopt;
}

}

class TestDescriptorLimit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatTheSystemGivesIsTaken_data();
    void whatTheSystemGivesIsTaken();
};

void TestDescriptorLimit::whatTheSystemGivesIsTaken_data()
{
    QTest::addColumn<long>("soft");
    QTest::addColumn<long>("hard");
    QTest::addColumn<long>("connections");
    QTest::addColumn<long>("limit");
    rlimit most{};
    QVERIFY(::getrlimit(RLIMIT_NOFILE, &most) == 0);
    const auto row = [&most](const char *name, long soft, long hard, long connections, long limit) {
        if (rlim_t(hard) <= most.rlim_max)
            QTest::newRow(name) << soft << hard << connections << limit;
    };
    row("all that there is", 200, 400, (400 - 64) / 2, 400);
    row("what there is already", 400, 400, (400 - 64) / 2, 400);
    row("no more than can be of use", 1024, 100000, (16384 - 64) / 2, 16384);
    row("nothing is given back", 20000, 20000, (20000 - 64) / 2, 20000);
    row("hardly any", 68, 68, 2, 68);
    row("too few are enough for one", 30, 30, 1, 30);
}

void TestDescriptorLimit::whatTheSystemGivesIsTaken()
{
    QFETCH(long, soft);
    QFETCH(long, hard);
    const std::optional<Found> found = foundUnder(soft, hard);
    QVERIFY(found);
    QTEST(found->connections, "connections");
    QTEST(found->limit, "limit");
}

QTEST_GUILESS_MAIN(TestDescriptorLimit)
#include "tst_descriptorlimit.moc"
