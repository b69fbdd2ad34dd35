// SPDX-License-Identifier: MIT
#pragma once

#include <cli/exitstatus.h>

#include <QIODevice>
#include <QString>

/// Standard output, which remembers that something could not be written to it. All answers of the program go through
/// the one object of this kind that main() has; from the first failure on nothing more is written.
class StandardOutput : public QIODevice
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(StandardOutput)

public:
    /// To be called first of all: a standard stream that is closed would be given to the next file that is opened, and
    /// answers would end up in the list or in the log. A pipe whose reader is gone is an error like others from now on.
    static void prepareProcess();

    /// Open for writing, unbuffered.
    StandardOutput();

    /// The status that the process ends with, now that everything has been written.
    /// @param status that it would have had @param complaint gets a sentence for people; empty = there is none
    ExitStatus finalStatus(ExitStatus status, QString *complaint) const;

    /// Somebody else wrote to it, and it failed; the first failure is the one that counts. @param error of errno
    void giveUp(int error);

    bool isSequential() const override { return true; }

Q_SIGNALS:
    /// Nobody reads any more; once.
    void readerGone();

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override;

private:
    int m_error = 0; ///< errno of the first failure; 0 = everything was written
};
