// SPDX-License-Identifier: MIT
#pragma once

/// Open descriptors of this process.
namespace DescriptorLimit
{

/// Connections that may be open at once: what the system allows, less what files, the list and the like need. Asks the
/// system for all that it is willing to give, the first time.
long connections();

}
