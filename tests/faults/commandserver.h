// SPDX-License-Identifier: MIT
#pragma once

#include <tests/faults/commandworld.h>
#include <tests/support/scriptedserver.h>

#include <QUrl>

#include <atomic>
#include <memory>

/// Serves the files of a command world, each in its manner.
class CommandServer
{
    Q_DISABLE_COPY_MOVE(CommandServer)

public:
    explicit CommandServer(const CommandWorld &world);

    bool isListening() const { return m_server.isListening(); }
    QUrl url(int file) const;
    /// The same file under another address.
    QUrl otherUrl(int file) const;
    /// Everything is served soundly from now on; what was held back goes on.
    void soothe();

private:
    ScriptedServer m_server;
    std::shared_ptr<std::atomic<bool>> m_isSoothed = std::make_shared<std::atomic<bool>>(false);
};
