// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/abstracterror.h>
#include <inet/qt/download/records/exportmacro.h>

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QString>

/// Takes data in order and puts it somewhere: the base of the writers.
///
///     new ── open() ──> opening ──opened──> open ── close() ──> closing ──closed──> closed ── open() ...
///                          └──────failed────────┴─ failed ─> (close() is still answered)
///
/// Lives in the writers' thread. Operations and queries may be called from the thread in which it was constructed,
/// whatever thread it lives in: a call posts work and returns, the answer comes as a signal, never from inside the
/// call.
class DOWNLOADFRAMEWORK_EXPORT AbstractDataAsyncProcessor : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AbstractDataAsyncProcessor)

public:
    explicit AbstractDataAsyncProcessor(QObject *parent = nullptr);
    ~AbstractDataAsyncProcessor() override;

    /// Code 0 = none.
    virtual AbstractError lastError() const = 0;
    virtual QDateTime lastErrorTime() const = 0;
    virtual void clearLastError() = 0;
    /// True from the delivery of opened() to the delivery of closed().
    virtual bool isOpen() const = 0;
    /// Answered exactly once, by opened() or failed().
    /// @param position where the first byte goes @param exists the file has been created already: it is not made anew
    virtual void open(const QString &path, qint64 position, bool exists) = 0;
    /// The next byte goes to @p position.
    virtual void reposition(qint64 position) = 0;
    /// Runs after all data handed in; answered by exactly one closed(), after a failure too.
    virtual void close() = 0;

public Q_SLOTS:
    /// Takes one chunk of any size; accounted by dataProcessed() once it is written.
    virtual void processData(const QByteArray &data) = 0;

public:
    /// Answered by allDataIsProcessed() behind all data handed in, whether there is any or not, open or not.
    virtual void finishPendingData() = 0;
    /// Forgets a position given to reposition(), and an end that was asked for: goes on where the last byte went.
    virtual void restart() = 0;

Q_SIGNALS:
    void opened();
    void closed();
    /// Once, with lastError() set; not after close() was called.
    void failed();
    /// So many bytes more are written.
    void dataProcessed(qint64 bytes);
    void allDataIsProcessed();
};
