// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdataasyncprocessor.h>

/// Writes data into a byte array of somebody else, who outlives it. Lives in the owner's thread.
class DOWNLOADFRAMEWORK_EXPORT MemoryDataAsyncWriter : public AbstractDataAsyncProcessor
{
    Q_OBJECT

public:
    MemoryDataAsyncWriter(QByteArray *target, QObject *parent);
    ~MemoryDataAsyncWriter() override;

    AbstractError lastError() const override;
    QDateTime lastErrorTime() const override;
    void clearLastError() override;
    bool isOpen() const override;
    /// The path is not used. Bytes between the array's end and the position become zeros.
    void open(const QString &path, qint64 position, bool exists) override;
    void reposition(qint64 position) override;
    void close() override;
    void processData(const QByteArray &data) override;
    void finishPendingData() override;
    void restart() override;

private:
    /// Life as the calls have it; m_open is life as the signals have told it.
    enum class State {
        Closed,
        Open,
        Failed, ///< data is ignored until the next open()
    };

    bool makeRoom(qint64 bytes);
    void fail(int code, const QString &text);

    QByteArray *const m_target;
    State m_state = State::Closed;
    qint64 m_position = 0;
    qint64 m_lastEnd = 0; ///< behind the last byte written
    bool m_open = false;
    bool m_closeAsked = false;
    int m_opening = 0; ///< number of the newest open()
    int m_closesPending = 0; ///< closed() signals still to be delivered
    AbstractError m_lastError;
    QDateTime m_lastErrorTime;
};
