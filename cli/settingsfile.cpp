// SPDX-License-Identifier: MIT
#include <cli/settingsfile.h>

#include <cli/clausewords.h>
#include <cli/commandoptions.h>
#include <cli/foreignbytes.h>
#include <cli/nearest.h>
#include <cli/pathexpansion.h>
#include <host/options/optionvalue.h>
#include <host/policy/redaction.h>

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Where the "#" of a remark stands, which has a blank before it; else the end of the text.
qsizetype remarkIn(const QString &text)
{
    for (qsizetype i = 1; i < text.size(); ++i) {
        if (text.at(i) == u'#' && text.at(i - 1).isSpace())
            return i;
    }
    return text.size();
}

/// The text between the quote that a value begins with and the one that nothing but a remark follows. Nothing where
/// there is none.
std::optional<QString> quotedIn(const QString &value)
{
    for (qsizetype i = value.indexOf(value.front(), 1); i > 0; i = value.indexOf(value.front(), i + 1)) {
        const QString behind = value.sliced(i + 1);
        if (behind.left(remarkIn(behind)).trimmed().isEmpty())
            return value.sliced(1, i - 1);
    }
    return std::nullopt;
}

/// @param text behind the sign. Nothing where it begins with a quote and does not end with it
std::optional<QString> valueIn(const QString &text)
{
    const QString value = text.trimmed();
    if (value.startsWith(u'"') || value.startsWith(u'\''))
        return quotedIn(value);
    return text.left(remarkIn(text)).trimmed();
}

/// A line without a sign is a name as a whole, with the value in it.
QString shownName(const QString &name)
{
    return Redaction::typed(name.section(u' ', 0, 0).section(u'\t', 0, 0));
}

QStringList settingNames()
{
    QStringList names;
    for (const OptionRow *row : CommandOptions::table().rows()) {
        if (row->places.testFlag(OptionRow::SettingsFile))
            names += row->names();
    }
    return names;
}

QString whyNoSetting(const QString &name)
{
    const QString what = u"\"%1\" is no setting"_s.arg(shownName(name));
    if (const OptionRow *const row = CommandOptions::table().find(name))
        return what
            + u": it counts for one command line alone. Take it out, and give --%1 where it is meant."_s.arg(
                QLatin1StringView(row->name));
    const QString nearest = Nearest::of(name, settingNames());
    return what
        + (nearest.isEmpty() ? u". Run \"plait config\" to see what there is."_s
                             : u". Did you mean \"%1\"?"_s.arg(nearest));
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
    if (text.isEmpty() || text.startsWith(u'#') || text.startsWith(u';'))
        return;
    const qsizetype sign = text.left(remarkIn(text)).indexOf(u'=');
    const QString name = text.left(sign < 0 ? remarkIn(text) : sign).trimmed();
    const OptionRow *const row = CommandOptions::table().find(name);
    if (text.startsWith(u'['))
        complain(line, u"a line in brackets is no setting, and there are no sections. Take it out."_s);
    else if (!row || !row->places.testFlag(OptionRow::SettingsFile))
        complain(line, whyNoSetting(name));
    else if (sign >= 0)
        readValue(*row, text.sliced(sign + 1), line);
    else if (row->type == OptionRow::Type::Flag)
        add(*row, u"true"_s, line);
    else
        complain(line, u"\"%1\" has no value. Write it as \"%1 = %2\"."_s.arg(name, QLatin1StringView(row->valueName)));
}

void SettingsFile::readValue(const OptionRow &row, const QString &text, int line)
{
    const std::optional<QString> value = valueIn(text);
    if (value && ForeignBytes::areIn(*value))
        complain(line,
                 u"the value of \"%1\" "_s.arg(QLatin1StringView(row.name)) + ForeignBytes::problem(row.isPath()));
    else if (value)
        add(row, *value, line);
    else
        complain(line,
                 u"the value of \"%1\" begins with a quote and does not end with it. Put one at both ends, or at "
                 u"neither; in a value that has them, take the other kind."_s.arg(QLatin1StringView(row.name)));
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
