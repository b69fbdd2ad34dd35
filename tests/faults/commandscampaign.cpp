// SPDX-License-Identifier: MIT
#include <tests/faults/commandseed.h>
#include <tests/faults/seedcampaign.h>

#include <QCoreApplication>

#include <cstdlib>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDefaultSeeds = 3000;

QString summaryOf(const CommandScore &score)
{
    const qsizetype legal = qsizetype(downloadStates().exits().size());
    return u"  commands: %1, refused: %2; killed: %3; questions: %4; pages compared with a model: %5\n"_s.arg(
               QString::number(score.commands), QString::number(score.refused), QString::number(score.kills),
               QString::number(score.questions), QString::number(score.comparisons))
        + u"  files right at the end: %1, of these shorter because somebody was content: %2; changes of state of %3 "
          u"kinds, where %4 are legal\n"_s.arg(QString::number(score.files), QString::number(score.early),
                                               QString::number(score.transitions.size()), QString::number(legal));
}

}

/// commandscampaign [SEEDS], with PLAIT_SEED: whatever commands come, and whenever the engine is killed, nothing is
/// lost, nothing is said that is not so, and every file is right in the end.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const auto arguments = CampaignArguments::read(argc, argv, u"SEEDS"_s, kDefaultSeeds);
    if (!arguments)
        return EXIT_FAILURE;
    SeedCampaign<CommandSeed, CommandScore> campaign(u"commands"_s, *arguments, summaryOf);
    return campaign.run() ? EXIT_SUCCESS : EXIT_FAILURE;
}
