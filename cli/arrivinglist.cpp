// SPDX-License-Identifier: MIT
#include <cli/arrivinglist.h>

#include <algorithm>

namespace
{

/// Behind the end of so many lines.
qsizetype endOfLines(const QString &text, int count)
{
    qsizetype end = 0;
    for (; count > 0; --count)
        end = text.indexOf(u'\n', end) + 1;
    return end;
}

}

void ArrivingList::add(const QByteArray &bytes)
{
    m_text += m_decoder.decode(bytes);
}

AddressList ArrivingList::takeFollowed()
{
    const AddressList known = wholeLines();
    return known.entries.isEmpty() ? AddressList() : take(endOfLines(m_text, known.entries.last().line - m_line));
}

AddressList ArrivingList::takeQuiet()
{
    const AddressList known = wholeLines();
    const bool isBegun = !m_text.endsWith(u'\n') && !m_text.isEmpty();
    const bool mayHaveOptions = m_hasOptions || isBegun
        || std::any_of(known.entries.cbegin(), known.entries.cend(),
                       [](const AddressList::Entry &entry) { return !entry.options.isEmpty(); });
    return mayHaveOptions ? takeFollowed() : takeRest();
}

AddressList ArrivingList::takeRest()
{
    return take(m_text.size());
}

AddressList ArrivingList::wholeLines() const
{
    return AddressList::read(m_text.first(m_text.lastIndexOf(u'\n') + 1), m_line);
}

AddressList ArrivingList::take(qsizetype length)
{
    const QString taken = m_text.first(length);
    const AddressList list = AddressList::read(taken, m_line);
    m_line += int(taken.count(u'\n'));
    m_text.remove(0, length);
    m_hasOptions = m_hasOptions
        || std::any_of(list.entries.cbegin(), list.entries.cend(),
                       [](const AddressList::Entry &entry) { return !entry.options.isEmpty(); });
    return list;
}
