// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QThread>

/// The call comes from the thread in which the object lives.
inline bool isCalledAtHome(const QObject *object)
{
    return object->thread() == QThread::currentThread();
}

/// Moves an object that may live in another thread already: only that thread may let it go.
inline void moveToThreadFromAnywhere(QObject *object, QThread *thread)
{
    if (isCalledAtHome(object))
        object->moveToThread(thread);
    else
        QMetaObject::invokeMethod(
            object, [object, thread] { object->moveToThread(thread); }, Qt::QueuedConnection);
}
