// SPDX-License-Identifier: MIT
#include <cli/listedrequests.h>

#include <cli/address.h>
#include <cli/clausewords.h>
#include <cli/familywords.h>
#include <cli/foreignbytes.h>
#include <cli/pathexpansion.h>
#include <cli/schemewords.h>
#include <host/engine/chosenoptions.h>
#include <host/options/optionvalue.h>
#include <host/policy/redaction.h>

#include <optional>

using namespace Qt::StringLiterals;

namespace
{

/// Null = there is none that an address can have for itself.
const OptionRow *rowOf(const OptionTable &table, const QString &name)
{
    const OptionRow *const row = table.find(name);
    return row && row->places.testFlag(OptionRow::Listed) ? row : nullptr;
}

QUrl urlOf(const QString &text)
{
    return QUrl(Address::meant(text), QUrl::TolerantMode);
}

class Reader
{
public:
    explicit Reader(const ListedRequests::Common &common)
        : m_common(common)
    {
        Clause problem; // told by whoever read the common ones
        m_plain = ChosenOptions::request(common.values, common.folder, &problem);
    }

    ListedRequests read(const AddressList &list)
    {
        m_result.requests.reserve(list.entries.size());
        for (const AddressList::Option &stray : list.strays)
            complain(stray.line, u"there is no address above \"%1\"."_s.arg(Redaction::typed(stray.name)));
        for (const AddressList::Entry &entry : list.entries)
            read(entry);
        return m_result;
    }

private:
    void read(const AddressList::Entry &entry)
    {
        const qsizetype before = m_result.complaints.size();
        for (const QString &address : entry.addresses) {
            if (const QString problem = SchemeWords::problemOf(Address::meant(address)); !problem.isEmpty())
                complain(entry.line, problem);
        }
        DownloadRequest request = entry.options.isEmpty() ? m_plain : ownRequest(entry);
        if (m_result.complaints.size() > before)
            return;
        request.url = urlOf(entry.addresses.constFirst());
        for (const QString &mirror : entry.addresses.sliced(1))
            request.mirrors.append(urlOf(mirror));
        if (canBeReached(request, entry.line))
            m_result.requests.append(request);
    }

    bool canBeReached(const DownloadRequest &request, int line)
    {
        const QList<QUrl> addresses = QList<QUrl>{request.url} + request.mirrors;
        const qsizetype before = m_result.complaints.size();
        for (const QUrl &address : addresses) {
            const QString problem = FamilyWords::problemOf(address, m_common.values, FamilyWords::Role::OneOfSeveral);
            if (!problem.isEmpty())
                complain(line, problem);
        }
        return m_result.complaints.size() == before;
    }

    DownloadRequest ownRequest(const AddressList::Entry &entry)
    {
        OptionValues values = m_common.values;
        for (const AddressList::Option &option : entry.options)
            give(option, entry, values);
        Clause wrong;
        const DownloadRequest request = ChosenOptions::request(values, m_common.folder, &wrong);
        QString problem = ClauseWords::of(wrong);
        if (request.isStreamed && !m_plain.isStreamed)
            problem = u"\"-\" is standard output, which is for all of them together. Give it as -o - then."_s;
        if (!problem.isEmpty())
            complain(entry.line, u"out "_s + problem);
        if (ForeignBytes::areIn(request.folder))
            complain(entry.line, u"the folder "_s + ForeignBytes::problem(true));
        return request;
    }

    void give(const AddressList::Option &option, const AddressList::Entry &entry, OptionValues &values)
    {
        const OptionRow *const row = rowOf(values.table(), option.name);
        QString problem = u"there is no option \"%1\" of an address."_s.arg(Redaction::typed(option.name));
        const auto value = row ? valueOf(*row, option, &problem) : std::nullopt;
        if (value)
            values.give(*row, {*value, placeOf(option.line)});
        else
            complain(option.line, problem + u" The address of line %1 is left out."_s.arg(entry.line));
    }

    /// Names of files have dollar signs that mean nothing.
    static std::optional<QString> expandedFor(const OptionRow &row, const QString &text, QString *problem)
    {
        const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (row.isPath())
            return PathExpansion::expanded(text, environment, problem);
        const bool isName = row.type == OptionRow::Type::FileName;
        return isName ? PathExpansion::inHome(text, environment, problem) : text;
    }

    static std::optional<QVariant> valueOf(const OptionRow &row, const AddressList::Option &option, QString *problem)
    {
        if (!option.value && row.type != OptionRow::Type::Flag) {
            *problem =
                u"\"%1\" has no value. Write it as \"%1=%2\"."_s.arg(option.name, QLatin1StringView(row.valueName));
            return std::nullopt;
        }
        const QString written = option.value.value_or(u"true"_s);
        const QString text = row.type == OptionRow::Type::Url ? Address::meant(written) : written;
        if (ForeignBytes::areIn(text)) {
            *problem = u"the value of \"%1\" "_s.arg(option.name)
                + ForeignBytes::problem(row.isPath() || row.type == OptionRow::Type::FileName);
            return std::nullopt;
        }
        const std::optional<QString> expanded = expandedFor(row, text, problem);
        if (!expanded)
            *problem = u"%1 \"%2\" "_s.arg(option.name, text) + *problem;
        if (!expanded)
            return std::nullopt;
        Clause wrong;
        const auto value = OptionValue::fromText(row, *expanded, option.name, &wrong);
        *problem = ClauseWords::of(wrong);
        return value;
    }

    QString placeOf(int line) const { return m_common.fileName + u':' + QString::number(line); }
    void complain(int line, const QString &what) { m_result.complaints.append(placeOf(line) + u": "_s + what); }

    const ListedRequests::Common &m_common;
    DownloadRequest m_plain;
    ListedRequests m_result;
};

}

ListedRequests ListedRequests::of(const AddressList &list, const Common &common)
{
    return Reader(common).read(list);
}
