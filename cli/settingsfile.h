// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/optionrow.h>

#include <QList>
#include <QString>

#include <optional>

/// A file with a setting a line, "name = value", named as the long option. A "#" at the beginning of a line or behind a
/// blank begins a remark; a flag's name alone is true; quotes around a value keep its blanks and its "#".
class SettingsFile
{
public:
    struct Setting {
        const OptionRow *row = nullptr;
        QString text; ///< as it stands there, without its quotes
        int line = 0; ///< from 1

        friend bool operator==(const Setting &, const Setting &) = default;
    };

    /// What is no setting at all is found here. A file that is not there has none.
    static SettingsFile read(const QString &fileName);

    const QList<Setting> &settings() const { return m_settings; }
    /// A sentence on the first line that is none; empty = all are.
    QString problem() const { return m_problem; }

    /// Where a setting stands: "/home/anna/plait.conf:7".
    QString placeOf(int line) const;
    /// Its value, with variables put into paths. Nothing, with a sentence that says where, when it is none.
    std::optional<QVariant> valueOf(const Setting &setting, QString *problem) const;

private:
    explicit SettingsFile(const QString &fileName);

    void readLine(const QString &text, int line);
    void readValue(const OptionRow &row, const QString &text, int line);
    void add(const OptionRow &row, const QString &text, int line);
    void complain(int line, const QString &what);

    QString m_fileName;
    QList<Setting> m_settings;
    QString m_problem;
};
