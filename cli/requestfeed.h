// SPDX-License-Identifier: MIT
#pragma once

#include <cli/arrivinglist.h>
#include <cli/listedrequests.h>

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

/// Requests of a list of addresses that comes through a pipe, or is typed, while the first of them run. Lives in its
/// owner's thread.
class RequestFeed : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RequestFeed)

public:
    /// So long nothing came, and an address is not kept waiting for options that nobody may be about to write.
    static constexpr int kQuietMs = 300;

    /// @param input descriptor to be read; stays open
    RequestFeed(int input, const ListedRequests::Common &common, QObject *parent = nullptr);

    /// No more is read, and nothing more said.
    void stop();

Q_SIGNALS:
    void arrived(const ListedRequests &listed);
    /// There is no more. @param problem why it ended before its end, as a clause; empty = it did not
    void ended(const QString &problem);

private:
    void onReadable();
    void onQuiet();
    void end(const QString &problem);
    void tell(const AddressList &list);

    const int m_input;
    const ListedRequests::Common m_common;
    ArrivingList m_list;
    QSocketNotifier m_notifier;
    QTimer m_quiet;
};
