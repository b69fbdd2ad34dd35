// SPDX-License-Identifier: MIT
#include <host/policy/trouble.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kRangeNotSatisfiable = 416;

}

Trouble::Kind Trouble::kindOf(const AbstractError &error, const AbstractDownloadPersistentInfo &info)
{
    if (error.category == ErrorCategory::kDownload)
        return DownloadErrorCode(error.code) == DownloadErrorCode::ResourceChanged ? Kind::Changed : Kind::Unresumable;
    const bool isOutOfRange = error.category == ErrorCategory::kHttp && error.code == kRangeNotSatisfiable;
    if (!isOutOfRange || info.bytesDownloaded(false) <= 0)
        return Kind::None;
    // Of a file whose size the server never told nobody knows that it is complete; asked for more, the server has none.
    // Where the size is known, the file there has become shorter.
    return info.files.first().size < 0 ? Kind::Unresumable : Kind::Changed;
}

std::optional<Trouble::Policy> Trouble::policyFromText(const QString &text)
{
    if (text == "fail"_L1)
        return Policy::Fail;
    if (text == "restart"_L1)
        return Policy::Restart;
    if (text == "ask"_L1)
        return Policy::Ask;
    return std::nullopt;
}
