// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QThread>

/// Moves an object that may live in another thread already: only that thread may let it go.
inline void moveToThreadFromAnywhere(QObject *object, QThread *thread)
{
    if (object->thread() == QThread::currentThread())
        object->moveToThread(thread);
    else
        QMetaObject::invokeMethod(object, [object, thread] { object->moveToThread(thread); }, Qt::QueuedConnection);
}
