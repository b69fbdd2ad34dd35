// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/framework/abstractdataasyncprocessor.h>

#include <memory>

/// Writes data into a file at a place. Several may write into one file at once, each at its own place.
///
/// A file is never truncated by opening it. Only plain files are written to, never through a link, and where the file
/// of a path is known (OwnFiles) no other in its place. Where the file needs a permission, that is asked for before
/// each block; without it nothing is written. Errors are of category "QtFileError" with the device's own text.
class DOWNLOADFRAMEWORK_EXPORT FileDataAsyncWriter : public AbstractDataAsyncProcessor
{
    Q_OBJECT

public:
    /// @param syncEveryBytes data is pushed to the disk after so many bytes; 0 = when the system likes
    /// @param placing 'P': positioned writes, the only kind there is
    /// @param progressStep smallest number of bytes between two reports of preallocatingProgress()
    FileDataAsyncWriter(int syncEveryBytes, char placing, qint64 progressStep, QObject *parent);
    ~FileDataAsyncWriter() override;

    /// Before open(): reserve the file up to @p size bytes when it opens. A disk too full for it is a failure then.
    /// Otherwise preallocateFinished() ends it, before or after opened(), unless the writer was closed first.
    void schedulePreallocateOnOpen(qint64 size);

    AbstractError lastError() const override;
    QDateTime lastErrorTime() const override;
    void clearLastError() override;
    bool isOpen() const override;
    void open(const QString &path, qint64 position, bool exists) override;
    void reposition(qint64 position) override;
    void close() override;
    void processData(const QByteArray &data) override;
    void finishPendingData() override;
    void restart() override;

Q_SIGNALS:
    /// So many bytes of the file are reserved by now.
    void preallocatingProgress(qint64 currentSize);
    /// The file is reserved up to @p size bytes.
    void preallocateFinished(qint64 size);

private:
    class Private;
    template<typename Work>
    void post(Work work);

    const std::shared_ptr<Private> d;
};
