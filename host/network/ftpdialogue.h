// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArrayView>

/// What an FTP server says on its control connection, as far as the head of an answer is made of it.
///
/// A status in the midst of a text, or before the data connection was agreed upon, means nothing here: greetings are
/// free to begin a line with any number, and the answer to a question for the time looks like a size.
class FtpDialogue
{
public:
    /// One line as it came, with or without its end.
    void addLine(QByteArrayView line);

    /// Bytes of the whole file; -1 = the server did not tell.
    qint64 size() const { return m_size; }
    /// It can begin a file in its middle.
    bool takesRanges() const { return m_takesRanges; }
    /// The file is on its way.
    bool hasBegun() const { return m_hasBegun; }

private:
    void take(int status, QByteArrayView text);

    int m_openStatus = 0; ///< of an answer whose last line has not come; 0 = none
    bool m_hasDataConnection = false;
    qint64 m_size = -1;
    bool m_takesRanges = false;
    bool m_hasBegun = false;
};
