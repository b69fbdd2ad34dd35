// SPDX-License-Identifier: MIT
#include <host/engine/commandvalues.h>

#include <host/engine/enginecommand.h>
#include <host/options/optiontable.h>
#include <host/options/optionvalue.h>

using namespace Qt::StringLiterals;

namespace
{

using Kind = EngineCommand::Kind;

/// How the options are called that say the same.
struct LimitNames {
    QLatin1StringView rate;
    QLatin1StringView connections;
    QLatin1StringView connectionsPerServer;
};

constexpr LimitNames kOfOne{"limit-rate"_L1, "max-connections"_L1, "max-connections-per-server"_L1};
constexpr LimitNames kOfAll{"max-overall-download-limit"_L1, "max-overall-connections"_L1,
                            "max-overall-connections-per-server"_L1};

Clause numberProblem(QLatin1StringView name, qint64 value)
{
    Clause problem;
    OptionValue::fromText(*OptionTable::ofHost().find(name), QString::number(value), u"\"%1\""_s.arg(name), &problem);
    return problem;
}

Clause limitProblem(QLatin1StringView name, qint64 value)
{
    return value == 0 ? Clause() : numberProblem(name, value);
}

Clause firstOf(std::initializer_list<Clause> problems)
{
    for (const Clause &problem : problems) {
        if (!problem.isEmpty())
            return problem;
    }
    return {};
}

Clause problemOf(const Limits &limits, const LimitNames &names)
{
    return firstOf({limitProblem(names.rate, limits.rate.value_or(0)),
                    limitProblem(names.connections, limits.connections.value_or(0)),
                    limitProblem(names.connectionsPerServer, limits.connectionsPerServer.value_or(0))});
}

Clause problemOf(const DownloadRequest &request)
{
    const DownloadOptions &options = request.options;
    return firstOf({problemOf({options.rateLimit, options.connections, options.connectionsPerServer}, kOfOne),
                    request.changes.values.problem()});
}

}

Clause CommandValues::problem(const EngineCommand &command)
{
    const Limits limits = command.limits.value_or(Limits());
    switch (command.kind) {
    case Kind::SetLimits:
        return problemOf(limits, kOfOne);
    case Kind::SetGlobalLimits:
        return problemOf(limits, kOfAll);
    case Kind::SetMostAtOnce:
        return numberProblem("max-downloads"_L1, command.value);
    default:
        return firstOf({command.request ? problemOf(*command.request) : Clause(),
                        command.changes ? command.changes->values.problem() : Clause()});
    }
}
