// SPDX-License-Identifier: MIT
#include <host/storage/memoryrows.h>

#include <host/storage/partrows.h>
#include <host/storage/recordrows.h>
#include <host/storage/sqlcells.h>

using namespace Qt::StringLiterals;

namespace
{

/// The order of the columns in the statements.
enum Column : int { Url, Target, Redirects, Etag, WeakEtag, LastModified, Total, Digest };
enum EvidenceColumn : int { Answers, Doubt, IsEndKnown, Address, FirstEtag, DigestResult };

const PartRows kAddresses(u"addresses"_s, {u"download_id"_s, u"position"_s},
                          {u"url"_s, u"target"_s, u"redirects"_s, u"etag"_s, u"weak_etag"_s, u"last_modified"_s,
                           u"total"_s, u"digest"_s});

const QString kPutEvidence =
    PartRows::putting(u"evidence"_s, {u"download_id"_s},
                      {u"answers"_s, u"doubt"_s, u"end_known"_s, u"address"_s, u"etag"_s, u"digest_result"_s});

SqlValues cellsOf(const KnownAddress &address)
{
    const ResourceIdentity &identity = address.identity;
    return {SqlCells::fromUrl(address.url),
            SqlCells::fromUrl(address.target),
            address.redirects,
            SqlCells::fromBytes(identity.etag),
            SqlCells::fromBytes(identity.weakEtag),
            SqlCells::fromTime(identity.lastModified),
            identity.total,
            SqlCells::fromBytes(identity.digest)};
}

SqlValues cellsOf(const Evidence &evidence)
{
    return {evidence.answers,
            int(evidence.doubt),
            int(evidence.isEndKnown),
            SqlCells::fromUrl(evidence.address),
            SqlCells::fromBytes(evidence.etag),
            int(evidence.digest)};
}

KnownAddress addressFrom(const SqlStatement &row)
{
    KnownAddress address;
    address.url = SqlCells::toUrl(row.value(Url));
    address.target = SqlCells::toUrl(row.value(Target));
    address.redirects = row.value(Redirects).toInt();
    address.identity.etag = SqlCells::toBytes(row.value(Etag));
    address.identity.weakEtag = SqlCells::toBytes(row.value(WeakEtag));
    address.identity.lastModified = SqlCells::toTime(row.value(LastModified));
    address.identity.total = row.value(Total).toNumber();
    address.identity.digest = SqlCells::toBytes(row.value(Digest));
    return address;
}

Evidence evidenceFrom(const SqlStatement &row)
{
    Evidence evidence;
    evidence.answers = row.value(Answers).toInt();
    evidence.doubt = MemoryRows::doubtFrom(row.value(Doubt));
    evidence.isEndKnown = row.value(IsEndKnown).toBool();
    evidence.address = SqlCells::toUrl(row.value(Address));
    evidence.etag = SqlCells::toBytes(row.value(FirstEtag));
    evidence.digest = ChecksumResult(row.value(DigestResult).toInt());
    return evidence;
}

}

std::optional<ResourceMemory> MemoryRows::load(RecordRows &rows, qint64 id)
{
    ResourceMemory memory;
    auto addresses = rows.run(kAddresses.select(), {id});
    if (!addresses)
        return std::nullopt;
    while (addresses->next())
        memory.addresses.append(addressFrom(addresses.statement()));
    if (!rows.wasReadWhole(addresses))
        return std::nullopt;
    auto evidence = rows.run(u"SELECT answers, doubt, end_known, address, etag, digest_result "
                             u"FROM evidence WHERE download_id = ?"_s,
                             {id});
    if (!evidence)
        return std::nullopt;
    if (evidence->next())
        memory.evidence = evidenceFrom(evidence.statement());
    return memory;
}

bool MemoryRows::save(RecordRows &rows, qint64 id, const ResourceMemory &memory)
{
    QList<SqlValues> addresses;
    for (const KnownAddress &address : memory.addresses)
        addresses.append(cellsOf(address));
    return kAddresses.replace(rows, {id}, addresses)
        && rows.run(kPutEvidence, SqlValues{id} + cellsOf(memory.evidence));
}

bool MemoryRows::setDigestResult(RecordRows &rows, qint64 id, ChecksumResult result)
{
    return bool(rows.run(u"UPDATE evidence SET digest_result = ? WHERE download_id = ?"_s, {int(result), id}));
}

Evidence::Doubt MemoryRows::doubtFrom(const SqlValue &cell)
{
    const int number = cell.toInt();
    const bool isKnown = number >= 0 && number <= int(Evidence::Doubt::FinishedEarly);
    return isKnown ? Evidence::Doubt(number) : Evidence::Doubt::Unknown;
}
