// SPDX-License-Identifier: MIT
#include <tests/faults/campaignarguments.h>

#include <QFileInfo>
#include <QTextStream>

using namespace Qt::StringLiterals;

std::optional<CampaignArguments> CampaignArguments::read(int argc, char *argv[], const QString &countName,
                                                         int defaultCount)
{
    CampaignArguments arguments;
    arguments.count = defaultCount;
    bool isSeed = true;
    bool isCount = true;
    if (qEnvironmentVariableIsSet("PLAIT_SEED"))
        arguments.seed = qEnvironmentVariable("PLAIT_SEED").toUInt(&isSeed);
    if (argc > 1)
        arguments.count = QString::fromLocal8Bit(argv[1]).toInt(&isCount);
    if (argc <= 2 && isSeed && isCount && arguments.count > 0)
        return arguments;
    const QString program = QFileInfo(QString::fromLocal8Bit(argv[0])).fileName();
    QTextStream(stdout) << u"usage: [PLAIT_SEED=N] %1 [%2]\n"_s.arg(program, countName);
    return std::nullopt;
}
