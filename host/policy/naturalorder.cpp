// SPDX-License-Identifier: MIT
#include <host/policy/naturalorder.h>

#include <inet/qt/download/response/fileinfoutils.h>

bool NaturalOrder::precedes(const QString &name, const QString &other)
{
    constexpr qint32 kByTitle = 2;
    static const auto comparison = abstractDownloadsPeristentInfoCompFunction({kByTitle, 0});
    // To make a record takes longer than to compare two: a list has a hundred thousand names.
    thread_local AbstractDownloadPersistentInfo one;
    thread_local AbstractDownloadPersistentInfo two;
    one.customTitle = name;
    two.customTitle = other;
    return comparison(one, two);
}
