// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>

/// A command line that a page shows to people.
struct DocsExample {
    QString place; ///< "README.md:31"
    QString line; ///< as a shell takes it
    int status = 0; ///< that it promises

    /// Those of a page: the lines of its blocks that are marked as a shell's. Remarks are left out; one that ends with
    /// "(status 3)" promises that.
    static QList<DocsExample> of(const QString &name, const QString &markdown);
    /// Numbers of the list that it speaks of.
    QList<int> ids() const;
};
