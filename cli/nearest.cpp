// SPDX-License-Identifier: MIT
#include <cli/nearest.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace
{

/// A beginning of this length was meant to be gone on with.
constexpr qsizetype kBeginning = 4;
/// One slip in so many letters leaves a word what it was.
constexpr qsizetype kLettersOfASlip = 3;

/// Slips from one to the other; each letter takes part in one of them at most.
int slipsBetween(const QString &from, const QString &to)
{
    const auto width = size_t(to.size()) + 1;
    std::vector<int> before(width);
    std::vector<int> last(width);
    std::vector<int> row(width);
    for (size_t j = 0; j < width; ++j)
        last[j] = int(j);
    for (qsizetype i = 1; i <= from.size(); ++i) {
        row[0] = int(i);
        for (size_t j = 1; j < width; ++j) {
            const auto at = qsizetype(j);
            const bool isSame = from.at(i - 1) == to.at(at - 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (isSame ? 0 : 1)});
            if (i > 1 && at > 1 && from.at(i - 1) == to.at(at - 2) && from.at(i - 2) == to.at(at - 1))
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before.swap(last);
        last.swap(row);
    }
    return last.back();
}

/// Slips, and of those that begin so, the shortest first.
std::pair<int, qsizetype> distance(const QString &word, const QString &candidate)
{
    const bool isBeginning = word.size() >= kBeginning && candidate.startsWith(word);
    return isBeginning ? std::pair(1, candidate.size())
                       : std::pair(slipsBetween(word, candidate), std::numeric_limits<qsizetype>::max());
}

}

QString Nearest::of(const QString &word, const QStringList &candidates)
{
    QString nearest;
    const int most = int(std::max<qsizetype>(1, word.size() / kLettersOfASlip));
    std::pair<int, qsizetype> best(most + 1, 0);
    for (const QString &candidate : candidates) {
        const std::pair<int, qsizetype> here = distance(word, candidate);
        if (here < best) {
            best = here;
            nearest = candidate;
        }
    }
    return nearest;
}
