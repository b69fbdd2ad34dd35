// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/records/exportmacro.h>

#include <QByteArray>
#include <QHash>
#include <QMutex>

class QObject;

/// Counts living objects by class, so that what is never released gets seen. Safe from any thread.
class DOWNLOADFRAMEWORK_EXPORT QtQObjectsTracker
{
    Q_DISABLE_COPY_MOVE(QtQObjectsTracker)

public:
    static QtQObjectsTracker *instance();

    /// Counts the object until it is destroyed.
    void registerObject(QObject *object, const char *className);

    int livingObjectsCount() const;
    /// Only classes of which some object lives.
    QHash<QByteArray, int> livingObjects() const;

private:
    QtQObjectsTracker() = default;
    void unregister(const QByteArray &className);

    mutable QMutex m_mutex;
    QHash<QByteArray, int> m_counts;
};
