// SPDX-License-Identifier: MIT
#include <cli/listcare.h>

#include <cli/clausewords.h>
#include <cli/failurewords.h>
#include <cli/jsonline.h>
#include <cli/nextcommand.h>
#include <host/engine/engineoptions.h>
#include <host/policy/shown.h>
#include <host/storage/idranges.h>
#include <host/storage/listcheck.h>
#include <host/storage/listrepair.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace
{

const QString kNoPlace = u"there is no home folder to keep a list in. Name its file with --list."_s;

/// Empty = there is no place for it.
QString listPathOf(const Arguments &arguments)
{
    return EngineOptions{arguments.session, arguments.queue}.listPath();
}

/// Under which name the list stood that was set aside as this file; empty = it is none. It would be set aside once
/// more, and an empty list begun under its name.
QString nameBefore(const QString &path)
{
    static const QRegularExpression aside(u"^(.+)\\.damaged-\\d{8}-\\d{6}(-\\d+)?$"_s);
    return aside.match(path).captured(1);
}

ExitStatus complain(QTextStream &notes, const QString &text, ExitStatus status)
{
    notes << "plait: " << Shown::text(text) << '\n' << Qt::flush;
    return status;
}

void say(const QString &text, QTextStream &answers)
{
    answers << Shown::text(text) << '\n';
}

/// @param setAside the list that was looked at, if it is another than the one in use
void sayFindings(const ListCheck::Findings &findings, const QString &path, const QString &setAside,
                 QTextStream &answers)
{
    for (const Clause &problem : findings.problems)
        say(ClauseWords::of(problem), answers);
    const QString shown = QDir::toNativeSeparators(path);
    if (findings.problems.isEmpty())
        say(u"the list \"%1\" is whole; downloads: %2"_s.arg(shown).arg(findings.downloads), answers);
    else
        say(u"the list \"%1\" is damaged. Run \"%2\" to bring over what can be read of it."_s.arg(
                shown,
                NextCommand::line(u"list --repair"_s
                                  + (setAside.isEmpty() ? QString() : u' ' + NextCommand::quoted(setAside)))),
            answers);
}

QString sentenceOf(const ListRepair::Report &report)
{
    const QString sentence = FailureWords::sentence(report.failure);
    return report.wasSetAside ? sentence + u" It is kept, and a new list was begun."_s : sentence;
}

QStringList remarksOf(const ListRepair::Report &report)
{
    const QStringList remarks = ClauseWords::of(report.remarks);
    return report.warning ? QStringList{FailureWords::sentence(report.warning)} + remarks : remarks;
}

void sayReport(const ListRepair::Report &report, const QString &path, QTextStream &answers)
{
    const QString list = QDir::toNativeSeparators(path);
    if (report.wasWhole) {
        say(u"the list \"%1\" is whole; there is nothing to repair"_s.arg(list), answers);
        return;
    }
    say(u"brought over from \"%1\", which is kept, into \"%2\": %3; there already: %4"_s.arg(
            QDir::toNativeSeparators(report.from), list, QString::number(report.brought),
            QString::number(report.present)),
        answers);
    for (const QString &remark : remarksOf(report))
        say(remark, answers);
    for (auto it = report.lost.cbegin(); it != report.lost.cend(); ++it)
        say(u"not brought over: %1 (%2)"_s.arg(IdRanges::text(it.value()), ClauseWords::of(it.key())), answers);
}

QJsonObject objectOf(const ListRepair::Report &report, const QString &path)
{
    QJsonArray lost;
    for (const QList<qint64> &ids : report.lost) {
        for (const qint64 id : ids)
            lost.append(id);
    }
    return {{u"event"_s, u"repair"_s},
            {u"list"_s, path},
            {u"from"_s, report.from},
            {u"brought"_s, report.brought},
            {u"present"_s, report.present},
            {u"lost"_s, lost},
            {u"remarks"_s, QJsonArray::fromStringList(remarksOf(report))}};
}

}

ExitStatus ListCare::check(const Arguments &arguments, QTextStream &answers, QTextStream &notes)
{
    const bool isTheList = arguments.setAsideList.isEmpty();
    const QString path = isTheList ? listPathOf(arguments) : arguments.setAsideList;
    if (path.isEmpty())
        return complain(notes, kNoPlace, ExitStatus::Unknown);
    const ListCheck::Findings findings = ListCheck::look(path);
    if (findings.failure)
        return complain(notes, FailureWords::sentence(findings.failure), exitStatusOf(findings.failure));
    if (arguments.json)
        answers << JsonLine::of({{u"event"_s, u"check"_s},
                                 {u"list"_s, path},
                                 {u"downloads"_s, findings.downloads},
                                 {u"problems"_s, QJsonArray::fromStringList(ClauseWords::of(findings.problems))}});
    else
        sayFindings(findings, path, arguments.setAsideList, answers);
    return findings.problems.isEmpty() ? ExitStatus::Done : ExitStatus::Unknown;
}

ExitStatus ListCare::repair(const Arguments &arguments, QTextStream &answers, QTextStream &notes)
{
    const QString path = listPathOf(arguments);
    if (path.isEmpty())
        return complain(notes, kNoPlace, ExitStatus::Unknown);
    if (const QString before = nameBefore(path); !before.isEmpty() && arguments.setAsideList.isEmpty())
        return complain(notes,
                        u"\"%1\" is a list that was set aside. To bring over what can be read of it, run: %2"_s.arg(
                            path, NextCommand::lineFor(before, u"list --repair "_s + NextCommand::quoted(path))),
                        ExitStatus::BadOption);
    const ListRepair::Report report = arguments.setAsideList.isEmpty()
        ? ListRepair::repair(path)
        : ListRepair::bringOver(arguments.setAsideList, path);
    if (report.failure)
        return complain(notes, sentenceOf(report), exitStatusOf(report.failure));
    if (arguments.json)
        answers << JsonLine::of(objectOf(report, path));
    else
        sayReport(report, path, answers);
    return report.lost.isEmpty() ? ExitStatus::Done : ExitStatus::Unknown;
}
