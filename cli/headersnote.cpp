// SPDX-License-Identifier: MIT
#include <cli/headersnote.h>

#include <QStringList>

using namespace Qt::StringLiterals;

QString HeadersNote::missing(qint64 id, const QList<SecretHeader> &headers)
{
    QStringList names;
    QStringList options;
    for (const SecretHeader &header : headers) {
        const QString option = header.isEverywhere() ? u"--header-for-all"_s : u"--header"_s;
        names.append(u'"' + header.name + u'"');
        options.append(option + u" '"_s + header.name + u": …'"_s);
    }
    if (names.isEmpty())
        return {};
    const bool isOne = names.size() == 1;
    return u"download %1 was begun with the %2 %3, whose %4 not kept. If the server asks for %5, give %5 again: %6"_s
        .arg(QString::number(id), isOne ? u"header"_s : u"headers"_s, names.join(u", "_s),
             isOne ? u"value is"_s : u"values are"_s, isOne ? u"it"_s : u"them"_s, options.join(u' '));
}
