// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/hostileanswer.h>
#include <tests/support/hostileworld.h>
#include <tests/support/pacedserver.h>

#include <QList>
#include <QStringList>
#include <QUrl>

#include <memory>
#include <vector>

class HostileBook;

/// The servers of one hostile world. They write down each answer and what a correct reader has of it.
///
/// Everything may be called from any thread at any time.
class HostileServers
{
public:
    /// One answer, as it was decided when its request had come.
    struct Entry {
        int run = 0;
        qint64 atMs = 0; ///< since these servers are there
        bool isRedirect = false;
        bool bringsNew = false; ///< bytes from a place from which none had been sent in this run yet
        HostileReading reading;
        QString line; ///< for people
    };

    explicit HostileServers(const HostileWorld &world);

    bool areListening() const;
    /// What a person gives. @param address 0, or 1 for a mirror
    QUrl url(int resource, int address = 0) const;
    /// Answers from now on are those of another run of the program.
    void beginRun();
    QList<Entry> log(int resource) const;

private:
    std::shared_ptr<HostileBook> m_book;
    std::vector<std::unique_ptr<PacedServer>> m_servers;
};
