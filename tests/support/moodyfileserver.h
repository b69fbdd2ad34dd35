// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/moodyfile.h>

#include <QList>
#include <QString>
#include <QThread>
#include <QUrl>

#include <memory>

class MoodyBook;
class MoodyListener;

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
    ~MoodyFileServer();

    /// False when no port could be opened.
    bool isListening() const { return m_port != 0; }
    QUrl url(const MoodyFile &file) const;

    /// No faults any more for the file of this seed.
    void soothe(quint64 seed);
    Log log(quint64 seed) const;
    /// Leaves nothing of this file in memory.
    void forget(quint64 seed);

private:
    std::shared_ptr<MoodyBook> m_book;
    QThread m_thread;
    MoodyListener *m_listener = nullptr; // lives in m_thread and is deleted as it ends
    quint16 m_port = 0;

    Q_DISABLE_COPY_MOVE(MoodyFileServer)
};
