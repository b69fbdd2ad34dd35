// SPDX-License-Identifier: MIT
#include <cli/settingstext.h>

#include <cli/pathexpansion.h>
#include <host/options/optionvalue.h>
#include <host/policy/harmlessheaders.h>
#include <host/policy/redaction.h>
#include <host/policy/shown.h>

using namespace Qt::StringLiterals;

namespace
{

using Type = OptionRow::Type;
using Given = OptionValues::Given;

const QString kDefaultsAreRemarks = u"# What nobody set stands behind a \"#\", with its default."_s;

/// Of a setting that is for the eyes of servers and proxies alone; empty = there is nothing to hide.
QString hidden(const OptionRow &row, const QString &value)
{
    if (row.type == Type::Proxy && value.contains(u'@'))
        return Redaction::typed(value);
    const QString header = value.section(u':', 0, 0).trimmed();
    const bool isHeader = row.type == Type::Header || row.type == Type::HeaderForAll;
    return isHeader && !HarmlessHeaders::isHarmless(header) ? header : QString();
}

QString written(const OptionRow &row, const QVariant &value)
{
    const QString text = OptionValue::toText(row, value);
    return row.isPath() ? PathExpansion::literal(text) : text;
}

/// A file would lose its blanks, take its quotes for some around it, or what is behind "#" for a remark.
bool needsQuotes(const QString &text)
{
    return text != text.trimmed() || text.startsWith(u'"') || text.startsWith(u'\'') || text.startsWith(u'#')
        || text.contains(" #"_L1) || text.contains("\t#"_L1);
}

QString inQuotes(const QString &text)
{
    const QChar quote = text.contains(u'"') ? u'\'' : u'"';
    return quote + text + quote;
}

/// A line of a settings file; quotes keep what a file would lose. What cannot be shown as it is, is a remark.
QString lineOf(const OptionRow &row, const QVariant &value)
{
    const QString name = QString::fromLatin1(row.name);
    const QString text = written(row, value);
    const QString secret = hidden(row, text);
    const QString shown = Shown::text(secret.isEmpty() ? text : secret);
    if (!secret.isEmpty() || shown != text)
        return u"# %1 = (%2; not shown as it is)"_s.arg(name, shown);
    return u"%1 = %2"_s.arg(name, needsQuotes(text) ? inQuotes(text) : text);
}

QString fallbackOf(const OptionRow &row)
{
    return row.type == Type::Flag ? u"false"_s : QString::fromLatin1(row.fallback);
}

QStringList said(const OptionRow &row, const Given &given)
{
    const QString fallback = fallbackOf(row);
    const QString standard = fallback.isEmpty() ? u"no default"_s : u"default: "_s + fallback;
    return {u"# %1: from %2 (%3)"_s.arg(QLatin1StringView(row.name), Shown::text(given.from), standard),
            lineOf(row, given.value)};
}

}

QString SettingsText::of(const OptionValues &values, const QList<const OptionRow *> &options)
{
    QStringList lines{kDefaultsAreRemarks};
    for (const OptionRow *row : options) {
        if (!row->places.testFlag(OptionRow::SettingsFile))
            continue;
        const QList<Given> all = values.given(QLatin1StringView(row->name));
        for (const Given &given : all)
            lines += said(*row, given);
        if (all.isEmpty())
            lines += u"# %1 = %2"_s.arg(QLatin1StringView(row->name), fallbackOf(*row)).trimmed();
    }
    return lines.join(u'\n');
}
