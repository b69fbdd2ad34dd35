// SPDX-License-Identifier: MIT
#pragma once

#include <tests/honesty/exhibit.h>

#include <QList>
#include <QString>

/// An exhibit at one time of meeting it.
struct Meeting {
    Exhibit exhibit;
    Exhibit::Visit visit = Exhibit::Visit::AtOnce;

    static QList<Meeting> allOf(const QList<Exhibit> &exhibits);
    QString inWords() const;
};
