// SPDX-License-Identifier: MIT
#include <host/network/ftpdialogue.h>

#include <algorithm>

namespace
{

constexpr qsizetype kStatusLength = 3;

enum Status {
    DataConnectionOpen = 125,
    AboutToOpen = 150,
    FileStatus = 213,
    PassiveMode = 227,
    ExtendedPassiveMode = 229,
    WaitingForMore = 350,
};

bool areDigits(QByteArrayView text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// 0 where the line does not begin with one.
int statusOf(QByteArrayView line)
{
    const QByteArrayView digits = line.first(std::min(line.size(), kStatusLength));
    return digits.size() == kStatusLength && areDigits(digits) ? digits.toInt() : 0;
}

qint64 sizeFrom(QByteArrayView text)
{
    bool ok = false;
    const qint64 size = areDigits(text) ? text.toLongLong(&ok) : -1;
    return ok ? size : -1;
}

}

void FtpDialogue::addLine(QByteArrayView line)
{
    line = line.trimmed();
    const int status = statusOf(line);
    const bool continues = line.size() > kStatusLength && line.at(kStatusLength) == '-';
    if (m_openStatus != 0) {
        if (status == m_openStatus && !continues)
            m_openStatus = 0;
        return;
    }
    if (continues)
        m_openStatus = status;
    if (status != 0)
        take(status, line.sliced(kStatusLength).trimmed());
}

void FtpDialogue::take(int status, QByteArrayView text)
{
    if (status == PassiveMode || status == ExtendedPassiveMode)
        m_hasDataConnection = true;
    if (!m_hasDataConnection)
        return;
    if (status == FileStatus)
        m_size = sizeFrom(text);
    else if (status == WaitingForMore)
        m_takesRanges = true;
    else if (status == AboutToOpen || status == DataConnectionOpen)
        m_hasBegun = true;
}
