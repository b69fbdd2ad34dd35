// SPDX-License-Identifier: MIT
#include <cli/addresslist.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

/// Addresses may be indented, too, and have "=" in them.
bool isOption(const QString &line)
{
    static const QRegularExpression indentedName(u"^[ \t]+[A-Za-z][A-Za-z0-9-]*[ \t]*$"_s);
    return indentedName.match(line.section(u'=', 0, 0)).hasMatch();
}

AddressList::Option optionOf(const QString &text, int line)
{
    const qsizetype sign = text.indexOf(u'=');
    if (sign < 0)
        return {line, text, std::nullopt};
    return {line, text.left(sign).trimmed(), text.sliced(sign + 1).trimmed()};
}

QStringList addressesOf(const QString &text)
{
    QStringList addresses = text.split(u'\t');
    for (QString &address : addresses)
        address = address.trimmed();
    addresses.removeAll(QString());
    return addresses;
}

/// Of a line that ends with carriage return and line feed, the first is left.
QString withoutTail(const QString &line)
{
    qsizetype end = line.size();
    while (end > 0 && line.at(end - 1).isSpace())
        --end;
    return line.left(end);
}

}

AddressList AddressList::read(const QString &text, int firstLine)
{
    AddressList list;
    const QStringList lines = (text.startsWith(QChar::ByteOrderMark) ? text.sliced(1) : text).split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const int number = firstLine + int(i);
        const QString line = withoutTail(lines.at(i));
        const QString content = line.trimmed();
        if (content.isEmpty() || content.startsWith(u'#'))
            continue;
        if (!isOption(line))
            list.entries.append({number, addressesOf(content)});
        else if (list.entries.isEmpty())
            list.strays.append(optionOf(content, number));
        else
            list.entries.last().options.append(optionOf(content, number));
    }
    return list;
}
