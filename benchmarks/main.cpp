// SPDX-License-Identifier: MIT
#include <benchmarks/engine.h>
#include <benchmarks/large.h>
#include <benchmarks/many.h>
#include <benchmarks/throttled.h>

#include <QCoreApplication>
#include <QStringList>

#include <cstdlib>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

struct Benchmark {
    const char *name;
    bool (*run)(QTextStream &out);
};

constexpr Benchmark kBenchmarks[] = {
    {"large", runLarge}, {"throttled", runThrottled}, {"many", runMany}, {"engine", runEngine}};

bool isWanted(const Benchmark &benchmark, const QStringList &names)
{
    return names.isEmpty() || names.contains(QLatin1String(benchmark.name));
}

bool isKnown(const QString &name)
{
    for (const Benchmark &benchmark : kBenchmarks) {
        if (name == QLatin1String(benchmark.name))
            return true;
    }
    return false;
}

}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList names = QCoreApplication::arguments().mid(1);
    QTextStream out(stdout);
    for (const QString &name : names) {
        if (isKnown(name))
            continue;
        out << "there is no benchmark \"" << name << "\"; there are:";
        for (const Benchmark &benchmark : kBenchmarks)
            out << ' ' << benchmark.name;
        out << '\n';
        return EXIT_FAILURE;
    }
    bool succeeded = true;
    for (const Benchmark &benchmark : kBenchmarks) {
        if (!isWanted(benchmark, names))
            continue;
        out << benchmark.name << '\n';
        succeeded &= benchmark.run(out);
    }
    return succeeded ? EXIT_SUCCESS : EXIT_FAILURE;
}
