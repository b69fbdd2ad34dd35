// SPDX-License-Identifier: MIT
#include <tests/faults/hostileseed.h>
#include <tests/faults/seedcampaign.h>

#include <QCoreApplication>

#include <cstdlib>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kDefaultSeeds = 2000;

QString summaryOf(const HostileScore &score)
{
    return u"  runs: %1, interrupted: %2; requests: %3; most in ten seconds that brought nothing new: %4\n"_s.arg(
               QString::number(score.runs), QString::number(score.interrupted), QString::number(score.requests),
               QString::number(score.mostInVain))
        + u"  files of status 0: %1, right: %2, mixed or short without any sign: %3; how sure: %4\n"_s.arg(
            QString::number(score.finished), QString::number(score.right), QString::number(score.excusable),
            inWords(score.assurances))
        + u"  statuses: %1\n  bytes of lists that were compared with the disk: %2\n"_s.arg(
            inWords(score.statuses), QString::number(score.claimedBytes));
}

}

/// hostilecampaign [SEEDS], with PLAIT_SEED: whatever servers do, nothing has status 0 that a correct reader of their
/// answers would not have got, nobody is asked in vain for long, and every other end has a sentence.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const auto arguments = CampaignArguments::read(argc, argv, u"SEEDS"_s, kDefaultSeeds);
    if (!arguments)
        return EXIT_FAILURE;
    SeedCampaign<HostileSeed, HostileScore> campaign(u"hostile"_s, *arguments, summaryOf);
    return campaign.run() ? EXIT_SUCCESS : EXIT_FAILURE;
}
