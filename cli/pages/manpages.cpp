// SPDX-License-Identifier: MIT
#include <cli/pages/manpages.h>

#include <cli/commandoptions.h>
#include <cli/commandtable.h>
#include <cli/pages/manualtables.h>
#include <cli/pages/roff.h>

#include <QStringList>

using namespace Qt::StringLiterals;

namespace
{

const QString kSettings = u"Settings file"_s;
/// Long tables that the program prints for each of the others: "plait help curl".
const QString kOthers = u"If you come from another program"_s;

QString head(const QString &name, int section, const QString &what, const QString &synopsis)
{
    return u".\\\" SPDX-License-Identifier: MIT\n"
           ".TH %1 %2 \"\" \"plait %3\" \"plait\"\n.nh\n.ad l\n"
           ".SH NAME\n%4 \\- %5\n.SH SYNOPSIS\n%6"_s.arg(name.toUpper())
               .arg(section)
               .arg(QLatin1StringView(PLAIT_VERSION), name, what, synopsis);
}

QString heading(const QString &title)
{
    return u".SH "_s + Roff::escaped(title.toUpper()) + u'\n';
}

struct Section {
    QString title;
    QString text;
};

QList<Section> sectionsOf(const QString &manual)
{
    QString missing;
    const QStringList parts = ManualTables::drawnInto(manual, &missing).split("\n## "_L1).mid(1);
    QList<Section> sections;
    for (const QString &part : parts)
        sections.append({part.section(u'\n', 0, 0), part.section(u'\n', 1)});
    return sections;
}

QString examples()
{
    QString text;
    for (const CommandRow &command : CommandTable::rows())
        text += QString::fromUtf8(command.examples) + u'\n';
    return heading(u"Examples"_s) + Roff::blocks(u"```\n%1```\n"_s.arg(text));
}

QString settingOf(const OptionRow &row)
{
    const bool isFlag = row.type == OptionRow::Type::Flag;
    // Quotes are for shells.
    const QString value = isFlag ? u"true"_s : QString::fromLatin1(row.valueName).remove(u'\'');
    QString told = QString::fromUtf8(row.manual ? row.manual : row.help);
    told[0] = told.at(0).toLower();
    const QString name = u"%1 = %2"_s.arg(QLatin1StringView(row.name), value);
    return u".TP\n"_s + Roff::line(u'`' + name + u'`') + u'\n' + Roff::line(told) + u'\n';
}

QString seeAlso(const QString &pages)
{
    return heading(u"See also"_s) + pages;
}

}

QString ManPages::ofProgram(const QString &manual)
{
    QString page = head(u"plait"_s, 1, u"download files, and go on where that was interrupted"_s,
                        u".B plait\n[options] URL\\[u2026]\n.br\n.B plait\nCOMMAND [options] [words]\n"_s);
    page += heading(u"Description"_s) + u".PP\n"_s
        + Roff::line(u"plait downloads over http, https and ftp. Where a server allows it, one file comes over several "
                     "connections at once; what was interrupted goes on where it stopped, and only if the server still "
                     "has the same file. `plait help COMMAND` tells of a command on one screen, `plait help curl` "
                     "(`wget`, `aria2`) what the options of these are here."_s)
        + u'\n';
    for (const Section &section : sectionsOf(manual)) {
        if (section.title != kSettings && section.title != kOthers)
            page += heading(section.title) + Roff::blocks(section.text);
    }
    return page + examples() + seeAlso(u".BR plait.conf (5)\n"_s);
}

QString ManPages::ofSettings(const QString &manual)
{
    QString page = head(u"plait.conf"_s, 5, u"settings of plait"_s,
                        u".I $XDG_CONFIG_HOME/plait/plait.conf\n.br\n.I \\(ti/.config/plait/plait.conf\n"_s);
    for (const Section &section : sectionsOf(manual)) {
        if (section.title == kSettings)
            page += heading(u"Description"_s) + Roff::blocks(section.text);
    }
    page += heading(u"Settings"_s);
    for (const OptionRow *row : CommandOptions::table().at(OptionRow::SettingsFile))
        page += settingOf(*row);
    return page + seeAlso(u".BR plait (1)\n"_s);
}
