// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

#include <memory>

/// Releases an object that may still be in one of its own signals: it leaves its parent and is deleted by its event
/// loop.
struct DeferredDelete {
    void operator()(QObject *object) const
    {
        if (object->parent())
            object->setParent(nullptr);
        object->deleteLater();
    }
};

/// Sole owner of a QObject that is never deleted at once.
template<typename T>
using DeferredPointer = std::unique_ptr<T, DeferredDelete>;
