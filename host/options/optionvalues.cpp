// SPDX-License-Identifier: MIT
#include <host/options/optionvalues.h>

#include <host/options/optionvalue.h>

#include <QJsonArray>
#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

OptionValues::OptionValues()
    : OptionValues(OptionTable::ofHost())
{
}

OptionValues::OptionValues(const OptionTable &table)
    : m_table(&table)
{
}

void OptionValues::give(const OptionRow &row, const Given &given)
{
    QList<Given> &all = m_given[QString::fromLatin1(row.name)];
    if (!row.repeats)
        all.clear();
    all.append(given);
}

QStringList OptionValues::texts(QLatin1StringView name) const
{
    QStringList texts;
    const QList<Given> all = given(name);
    for (const Given &one : all)
        texts.append(one.value.toString());
    return texts;
}

QVariant OptionValues::value(QLatin1StringView name) const
{
    const OptionRow *const row = m_table->find(QString(name));
    Q_ASSERT_X(row, "OptionValues", name.data());
    const QList<Given> all = given(name);
    return all.isEmpty() ? OptionValue::fallback(*row) : all.constLast().value;
}

OptionValues OptionValues::at(OptionRow::Place place) const
{
    OptionValues some(*m_table);
    for (auto it = m_given.cbegin(); it != m_given.cend(); ++it) {
        if (m_table->find(it.key())->places.testFlag(place))
            some.m_given.insert(it.key(), it.value());
    }
    return some;
}

QJsonObject OptionValues::toJson() const
{
    QJsonObject object;
    for (auto it = m_given.cbegin(); it != m_given.cend(); ++it) {
        const OptionRow &row = *m_table->find(it.key());
        QJsonArray values;
        for (const Given &given : it.value())
            values.append(OptionValue::toJson(row, given.value));
        object.insert(it.key(), row.repeats ? QJsonValue(values) : values.last());
    }
    return object;
}

Clause OptionValues::problem() const
{
    const QJsonObject all = toJson();
    OptionValues read(*m_table);
    for (auto it = all.constBegin(); it != all.constEnd(); ++it) {
        Clause problem;
        if (!read.giveJson(*m_table->find(it.key()), it.value(), &problem))
            return problem;
    }
    return {};
}

OptionValues OptionValues::fromJson(const QJsonObject &object)
{
    OptionValues values;
    Clause problem;
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (const OptionRow *const row = values.table().find(it.key()))
            values.giveJson(*row, it.value(), &problem);
    }
    return values;
}

std::optional<OptionValues> OptionValues::checked(const QJsonObject &object, OptionRow::Place place, Clause *problem)
{
    OptionValues values;
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        const OptionRow *const row = values.table().find(it.key());
        const bool isFileHere = row && row->type == OptionRow::Type::FileOrUrl && QUrl(it->toString()).isLocalFile();
        // A stranger does not choose what is read of this machine.
        const bool isTheirs = row && row->places.testFlag(place) && !(isFileHere && place == OptionRow::Service);
        if (!isTheirs) {
            *problem = {Clause::Kind::NoOption, {it.key()}};
            return std::nullopt;
        }
        if (!values.giveJson(*row, it.value(), problem))
            return std::nullopt;
    }
    return values;
}

bool OptionValues::giveJson(const OptionRow &row, const QJsonValue &json, Clause *problem)
{
    const QJsonArray all = row.repeats && json.isArray() ? json.toArray() : QJsonArray{json};
    return std::all_of(all.begin(), all.end(), [&](const QJsonValue &one) {
        const std::optional<QVariant> value = OptionValue::fromJson(row, one, problem);
        if (value)
            give(row, {*value, {}});
        return value.has_value();
    });
}
