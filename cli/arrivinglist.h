// SPDX-License-Identifier: MIT
#pragma once

#include <cli/addresslist.h>

#include <QByteArray>

/// A list of addresses of which nobody knows when more of it comes. A value.
///
/// What stands below an address may still come, so that an address is taken when the next one has come, or when nothing
/// more seems to come. Whoever writes options into such a list does so from the first address on: once one had any,
/// each waits for the next.
class ArrivingList
{
public:
    /// More of it, in pieces of any size.
    void add(const QByteArray &bytes);

    /// Of what came since the last time, all but the last address.
    AddressList takeFollowed();
    /// The last one, too, unless it may have options.
    AddressList takeQuiet();
    /// Everything: no more will come.
    AddressList takeRest();

private:
    AddressList take(qsizetype length);
    AddressList wholeLines() const;

    QByteArray m_text; ///< that was not taken yet
    int m_line = 1; ///< that it begins with
    bool m_hasOptions = false;
};
