// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/sqldatabase.h>

#include <QString>

#include <cstddef>
#include <unordered_map>

/// The statements of a connection, each prepared once however often it runs. Only for those of which there are few
/// texts. Not for a PRAGMA, part of which may happen while it is prepared. Has to go before the connection does.
class PreparedStatements
{
    Q_DISABLE_COPY_MOVE(PreparedStatements)

    /// The texts are long, each runs often, and a few characters tell them apart.
    struct Hash {
        std::size_t operator()(const QString &text) const noexcept;
    };
    using Store = std::unordered_multimap<QString, SqlStatement, Hash>;

public:
    /// A statement that ran, for its rows to be read. It is in nobody else's hands: the same one may run again
    /// meanwhile. Has to end before the statements do; from then on nothing of it holds a lock.
    class Run
    {
        Q_DISABLE_COPY(Run)

    public:
        Run(Run &&other) noexcept = default;
        Run &operator=(Run &&other) = delete;
        ~Run();

        /// It did not fail.
        explicit operator bool() const { return m_done; }
        SqlStatement *operator->() { return &m_node.mapped(); }
        SqlStatement &statement() { return m_node.mapped(); }

    private:
        friend class PreparedStatements;
        Run(PreparedStatements *owner, Store::node_type node);

        PreparedStatements *m_owner;
        Store::node_type m_node;
        bool m_done = false;
    };

    /// @param database open; outlives this object
    explicit PreparedStatements(const SqlDatabase &database)
        : m_database(database)
    {
    }

    /// @param values one for each "?" in the text
    Run run(const QString &text, const SqlValues &values = {});

private:
    const SqlDatabase &m_database;
    Store m_idle; ///< nothing of these runs
};
