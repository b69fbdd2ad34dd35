// SPDX-License-Identifier: MIT
#pragma once

#include <host/storage/downloadstore.h>

#include <memory>

/// Every kind of store there is, for tests that all of them pass: global rows of a test, and the store of the current
/// one.
namespace StoreKinds
{

/// In initTestCase_data().
void addRows();
/// The row's. Null, with a failure of the test, when it cannot be opened. @param folder where it may be kept
std::unique_ptr<DownloadStore> open(const QString &folder);

}
