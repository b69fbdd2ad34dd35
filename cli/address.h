// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Addresses as people have them: copied with quotes or brackets around them, out of a file with other line ends,
/// without a scheme. Pure.
namespace Address
{

/// The address that was meant: without what stands around it, and with a scheme where it begins with a host. https, but
/// http for this machine, for hosts that are numbers, and for ports other than those of https: certificates are for
/// names, and who names a port mostly has a plain server there. Foreign bytes (ForeignBytes) are percent-encoded. A
/// text that is no address stays what it is.
QString meant(const QString &text);

}
