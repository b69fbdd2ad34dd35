// SPDX-License-Identifier: MIT
#include <host/storage/preparedstatements.h>

#include <utility>

std::size_t PreparedStatements::Hash::operator()(const QString &text) const noexcept
{
    constexpr qsizetype kSamples = 16;
    const qsizetype step = text.size() / kSamples + 1;
    auto hash = std::size_t(text.size());
    for (qsizetype i = 0; i < text.size(); i += step)
        hash = hash * 31 + text.at(i).unicode();
    return hash;
}

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

PreparedStatements::Run PreparedStatements::run(const QString &text, const SqlValues &values)
{
    auto found = m_idle.find(text);
    if (found == m_idle.end())
        found = m_idle.emplace(text, m_database.prepare(text));
    Run run(this, m_idle.extract(found));
    run.m_done = run->run(values);
    return run;
}
