// SPDX-License-Identifier: MIT
#include <tests/integration/framingruns.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace
{
void tell(const QString &text)
{
    QTextStream(stdout) << text << Qt::endl;
}

QString verdictOf(const FramingCase &row)
{
    switch (row.verdict) {
    case FramingCase::Verdict::Whole:
        return u"whole"_s;
    case FramingCase::Verdict::Refused:
        return u"refused"_s;
    case FramingCase::Verdict::Either:
        break;
    }
    return u"whole or refused"_s;
}

QString withVerdict(const FramingOutcome &outcome, const QString &wrong)
{
    return wrong.isEmpty() ? u"right, "_s + outcome.inWords() : u"WRONG, "_s + wrong;
}

/// Whether two programs made the same of an answer.
bool isSame(const FramingOutcome &one, const FramingOutcome &other)
{
    return one.kind == other.kind && (one.kind != FramingOutcome::Kind::Whole || one.file == other.file);
}

/// Prints each row that is wrong or differs. @return whether plait is right in all
bool compare()
{
    const QList<FramingCase> rows = allFramingCases();
    const QList<FramingOutcome> ours = FramingRuns::runAll(rows, FramingRuns::runPlait);
    const QList<FramingOutcome> theirs = FramingRuns::runAll(rows, FramingRuns::runCurl);
    qsizetype oursRight = 0;
    qsizetype theirsRight = 0;
    qsizetype bothWrong = 0;
    qsizetype differences = 0;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const QString ourWrong = ours.at(i).wrongFor(rows.at(i));
        const QString theirWrong = theirs.at(i).wrongFor(rows.at(i));
        oursRight += qsizetype(ourWrong.isEmpty());
        theirsRight += qsizetype(theirWrong.isEmpty());
        bothWrong += qsizetype(!ourWrong.isEmpty() && !theirWrong.isEmpty());
        differences += qsizetype(!isSame(ours.at(i), theirs.at(i)));
        if (!isSame(ours.at(i), theirs.at(i)) || !ourWrong.isEmpty()) {
            tell(u"%1\n  has to be: %2 (%3)\n  plait: %4\n  curl:  %5"_s.arg(
                QString::fromUtf8(rows.at(i).name), verdictOf(rows.at(i)), QString::fromUtf8(rows.at(i).rule),
                withVerdict(ours.at(i), ourWrong), withVerdict(theirs.at(i), theirWrong)));
        }
    }
    tell(u"%1 rows; right by plait: %2, by curl: %3; wrong by both: %4; differences: %5"_s.arg(rows.size())
             .arg(oursRight)
             .arg(theirsRight)
             .arg(bothWrong)
             .arg(differences));
    return oursRight == rows.size();
}
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    return compare() ? 0 : 1;
}
