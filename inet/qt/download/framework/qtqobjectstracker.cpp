// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/qtqobjectstracker.h>

#include <QMutexLocker>
#include <QObject>

QtQObjectsTracker *QtQObjectsTracker::instance()
{
    // Never destroyed: an object that outlives main() still has someone to count it down.
    static QtQObjectsTracker *const tracker = new QtQObjectsTracker;
    return tracker;
}

void QtQObjectsTracker::registerObject(QObject *object, const char *className)
{
    if (!object)
        return;
    const QByteArray name(className);
    {
        const QMutexLocker lock(&m_mutex);
        ++m_counts[name];
    }
    // Without a context object the functor runs in whatever thread destroys the object, and is never left undelivered.
    QObject::connect(object, &QObject::destroyed, [this, name] { unregister(name); });
}

int QtQObjectsTracker::livingObjectsCount() const
{
    const QMutexLocker lock(&m_mutex);
    int sum = 0;
    for (const int count : m_counts)
        sum += count;
    return sum;
}

QHash<QByteArray, int> QtQObjectsTracker::livingObjects() const
{
    const QMutexLocker lock(&m_mutex);
    return m_counts;
}

void QtQObjectsTracker::unregister(const QByteArray &className)
{
    const QMutexLocker lock(&m_mutex);
    const auto it = m_counts.find(className);
    if (it != m_counts.end() && --*it == 0)
        m_counts.erase(it);
}
