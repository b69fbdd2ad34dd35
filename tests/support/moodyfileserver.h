// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/moodyfile.h>
#include <tests/support/pacedserver.h>

#include <QList>
#include <QString>
#include <QUrl>

#include <memory>

class MoodyBook;

/// A server on 127.0.0.1, in a thread of its own, that has every file that there is a seed for, serves it in moods and
/// writes down what it was asked. What an answer is like follows from the seed and from how many this file has had.
///
/// Everything may be called from any thread at any time.
class MoodyFileServer
{
public:
    /// What became of one file.
    struct Log {
        int requests = 0;
        int faults = 0; ///< faulty answers
        QStringList lines; ///< a line for each request, with its answer
    };

    MoodyFileServer();

    /// False when no port could be opened.
    bool isListening() const { return m_server.port() != 0; }
    QUrl url(const MoodyFile &file) const;

    /// No faults any more for the file of this seed.
    void soothe(quint64 seed);
    Log log(quint64 seed) const;
    /// Leaves nothing of this file in memory.
    void forget(quint64 seed);

private:
    std::shared_ptr<MoodyBook> m_book;
    PacedServer m_server;

    Q_DISABLE_COPY_MOVE(MoodyFileServer)
};
