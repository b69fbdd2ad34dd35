// SPDX-License-Identifier: MIT
#include <host/storage/idranges.h>

#include <QStringList>

using namespace Qt::StringLiterals;

QString IdRanges::text(const QList<qint64> &ids)
{
    QStringList words;
    for (qsizetype i = 0; i < ids.size();) {
        qsizetype last = i;
        while (last + 1 < ids.size() && ids.at(last + 1) == ids.at(last) + 1)
            ++last;
        words.append(last > i ? u"%1–%2"_s.arg(ids.at(i)).arg(ids.at(last)) : QString::number(ids.at(i)));
        i = last + 1;
    }
    return words.join(u", "_s);
}
