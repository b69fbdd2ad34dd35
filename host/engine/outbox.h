// SPDX-License-Identifier: MIT
#pragma once

#include <QQueue>
#include <QtGlobal>

#include <functional>
#include <memory>
#include <utility>

/// What an object has to say, and what it does once that was heard: one step after the other, in the order in which
/// they were put, and none from inside another.
///
/// Whoever hears a signal may call the object again, or delete it. So a function of the object that has something to
/// say opens a Scope, puts what it says as steps, and has nothing to look at again afterwards: the steps are taken when
/// the outermost scope ends. Steps that are put meanwhile come behind. Once the outbox is gone no step is taken any
/// more. Lives in its owner's thread.
class Outbox
{
    Q_DISABLE_COPY_MOVE(Outbox)

    using Step = std::function<void()>;

    struct Steps {
        QQueue<Step> waiting;
        int depth = 0; ///< scopes that are open
        bool isGone = false;
    };

public:
    class Scope
    {
        Q_DISABLE_COPY_MOVE(Scope)

    public:
        explicit Scope(Outbox &outbox)
            : m_steps(outbox.m_steps)
        {
            ++m_steps->depth;
        }

        ~Scope()
        {
            while (m_steps->depth == 1 && !m_steps->isGone && !m_steps->waiting.isEmpty())
                m_steps->waiting.dequeue()();
            --m_steps->depth;
        }

    private:
        const std::shared_ptr<Steps> m_steps; ///< outlives the outbox
    };

    Outbox() = default;
    ~Outbox() { m_steps->isGone = true; }

    /// Within a scope.
    void put(Step step)
    {
        Q_ASSERT_X(m_steps->depth > 0, "Outbox", "a step outside any scope would never be taken");
        m_steps->waiting.enqueue(std::move(step));
    }

private:
    const std::shared_ptr<Steps> m_steps = std::make_shared<Steps>();
};
