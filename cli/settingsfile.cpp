// SPDX-License-Identifier: MIT
#include <cli/settingsfile.h>

#include <cli/clausewords.h>
#include <cli/commandoptions.h>
#include <cli/foreignbytes.h>
#include <cli/pathexpansion.h>
#include <host/options/optionvalue.h>
#include <host/policy/redaction.h>

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

QString withoutQuotes(const QString &text)
{
    const bool isQuoted =
        text.size() > 1 && (text.front() == u'"' || text.front() == u'\'') && text.back() == text.front();
    return isQuoted ? text.sliced(1, text.size() - 2) : text;
}

/// A line without a sign is a name as a whole, with the value in it.
QString shownName(const QString &name)
{
    return Redaction::typed(name.section(u' ', 0, 0).section(u'\t', 0, 0));
}

QString whyNoSetting(const QString &name)
{
    const QString what = u"\"%1\" is no setting"_s.arg(shownName(name));
    const OptionRow *const row = CommandOptions::table().find(name);
    return what
        + (row ? u": it counts for one command line alone. Take it out, and give --%1 where it is meant."_s.arg(
               QLatin1StringView(row->name))
               : u". Run \"plait config\" to see what there is."_s);
}

}

SettingsFile::SettingsFile(const QString &fileName)
    : m_fileName(fileName)
{
}

SettingsFile SettingsFile::read(const QString &fileName)
{
    SettingsFile settings(fileName);
    QFile file(fileName);
    if (!file.exists())
        return settings;
    if (!file.open(QIODevice::ReadOnly)) {
        settings.m_problem = u"cannot read the settings in \"%1\": %2."_s.arg(fileName, file.errorString());
        return settings;
    }
    const QString text = ForeignBytes::text(file.readAll());
    const QStringList lines = (text.startsWith(QChar::ByteOrderMark) ? text.sliced(1) : text).split(u'\n');
    for (qsizetype i = 0; i < lines.size() && settings.m_problem.isEmpty(); ++i)
        settings.readLine(lines.at(i).trimmed(), int(i + 1));
    return settings;
}

void SettingsFile::readLine(const QString &text, int line)
{
    if (text.isEmpty() || text.startsWith(u'#') || text.startsWith(u';') || text.startsWith(u'['))
        return;
    const QString name = text.section(u'=', 0, 0).trimmed();
    const OptionRow *const row = CommandOptions::table().find(name);
    if (!row || !row->places.testFlag(OptionRow::SettingsFile))
        complain(line, whyNoSetting(name));
    else if (ForeignBytes::areIn(text))
        complain(line, u"the value of \"%1\" "_s.arg(name) + ForeignBytes::problem(row->isPath()));
    else if (text.contains(u'='))
        add(*row, withoutQuotes(text.section(u'=', 1).trimmed()), line);
    else if (row->type == OptionRow::Type::Flag)
        add(*row, u"true"_s, line);
    else
        complain(line, u"\"%1\" has no value. Write it as \"%1 = %2\"."_s.arg(name, QLatin1StringView(row->valueName)));
}

void SettingsFile::add(const OptionRow &row, const QString &text, int line)
{
    const auto earlier = std::find_if(m_settings.cbegin(), m_settings.cend(),
                                      [&row](const Setting &setting) { return setting.row == &row; });
    if (earlier == m_settings.cend() || row.repeats)
        m_settings.append({&row, text, line});
    else
        complain(line,
                 u"\"%1\" stands in line %2 already. Keep one of the two."_s.arg(QLatin1StringView(row.name))
                     .arg(earlier->line));
}

void SettingsFile::complain(int line, const QString &what)
{
    m_problem = placeOf(line) + u": "_s + what;
}

QString SettingsFile::placeOf(int line) const
{
    return m_fileName + u':' + QString::number(line);
}

std::optional<QVariant> SettingsFile::valueOf(const Setting &setting, QString *problem) const
{
    const QString name = QString::fromLatin1(setting.row->name);
    std::optional<QString> text = setting.text;
    if (setting.row->isPath())
        text = PathExpansion::expanded(setting.text, QProcessEnvironment::systemEnvironment(), problem);
    std::optional<QVariant> value;
    Clause wrong;
    if (text)
        value = OptionValue::fromText(*setting.row, *text, name, &wrong);
    if (text)
        *problem = ClauseWords::of(wrong);
    else
        *problem = u"%1 \"%2\" "_s.arg(name, setting.text) + *problem;
    if (!value)
        *problem = placeOf(setting.line) + u": "_s + *problem;
    return value;
}
