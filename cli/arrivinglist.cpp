// SPDX-License-Identifier: MIT
#include <cli/arrivinglist.h>

#include <cli/foreignbytes.h>

#include <algorithm>

namespace
{

/// Behind the end of so many lines.
qsizetype endOfLines(const QByteArray &text, int count)
{
    qsizetype end = 0;
    for (; count > 0; --count)
        end = text.indexOf('\n', end) + 1;
    return end;
}

}

void ArrivingList::add(const QByteArray &bytes)
{
    m_text += bytes;
}

AddressList ArrivingList::takeFollowed()
{
    const AddressList known = wholeLines();
    return known.entries.isEmpty() ? AddressList() : take(endOfLines(m_text, known.entries.last().line - m_line));
}

AddressList ArrivingList::takeQuiet()
{
    const AddressList known = wholeLines();
    const bool isBegun = !m_text.endsWith('\n') && !m_text.isEmpty();
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
    return AddressList::read(ForeignBytes::text(m_text.first(m_text.lastIndexOf('\n') + 1)), m_line);
}

AddressList ArrivingList::take(qsizetype length)
{
    const QByteArray taken = m_text.first(length);
    const AddressList list = AddressList::read(ForeignBytes::text(taken), m_line);
    m_line += int(taken.count('\n'));
    m_text.remove(0, length);
    m_hasOptions = m_hasOptions
        || std::any_of(list.entries.cbegin(), list.entries.cend(),
                       [](const AddressList::Entry &entry) { return !entry.options.isEmpty(); });
    return list;
}
