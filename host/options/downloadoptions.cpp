// SPDX-License-Identifier: MIT
#include <host/options/downloadoptions.h>

#include <host/options/optionvalue.h>
#include <host/options/optionvalues.h>

using namespace Qt::StringLiterals;

DownloadOptions DownloadOptions::of(const OptionValues &values)
{
    DownloadOptions options;
    for (const OptionRow *row : OptionTable::ofHost().at(OptionRow::Download)) {
        if (row->field.beginsWithDefault)
            row->field.put(OptionValue::fallback(*row), options);
    }
    options.give(values);
    return options;
}

void DownloadOptions::give(const OptionValues &values)
{
    for (const OptionRow *row : OptionTable::ofHost().at(OptionRow::Download)) {
        const auto given = values.given(QLatin1StringView(row->name));
        if (!given.isEmpty())
            row->field.put(given.constLast().value, *this);
    }
}

OptionValues DownloadOptions::values() const
{
    OptionValues values;
    for (const OptionRow *row : OptionTable::ofHost().at(OptionRow::Download)) {
        const QVariant value = row->field.shown(*this);
        if (value.isValid())
            values.give(*row, {value, {}});
    }
    return values;
}

bool DownloadOptions::isToBeCompared() const
{
    const bool isListNamed = !checksumSource.isEmpty() && checksumSource != "auto"_L1;
    return !checksumAlgorithm.isEmpty() || isListNamed;
}

DownloadOptions DownloadOptions::kept() const
{
    DownloadOptions options = *this;
    if (storeSecrets)
        return options;
    options.user.clear();
    options.password.clear();
    for (SecretHeader &header : options.headers)
        header.value = QString();
    return options;
}
