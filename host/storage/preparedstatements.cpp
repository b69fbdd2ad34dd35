// SPDX-License-Identifier: MIT
#include <host/storage/preparedstatements.h>

#include <utility>

PreparedStatements::Run::Run(PreparedStatements *owner, Store::node_type node)
    : m_owner(owner)
    , m_node(std::move(node))
{
}

PreparedStatements::Run::~Run()
{
    // One that failed may fail because of how it was prepared.
    if (m_node.empty() || !m_done)
        return;
    m_node.mapped().finish();
    m_owner->m_idle.insert(std::move(m_node));
}

PreparedStatements::Run PreparedStatements::run(const QString &text, const QVariantList &values)
{
    const auto idle = m_idle.find(text);
    const bool isNew = idle == m_idle.end();
    Run run(this, m_idle.extract(isNew ? m_idle.emplace(text, QSqlQuery(m_database)) : idle));
    if (isNew) {
        run->setForwardOnly(true);
        if (!run->prepare(text))
            return run;
    }
    for (const QVariant &value : values)
        run->addBindValue(value);
    run.m_done = run->exec();
    return run;
}
