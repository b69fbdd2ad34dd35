// SPDX-License-Identifier: MIT
#pragma once

#include <host/policy/resourceidentity.h>

#include <QUrl>

/// How a request came about: from which address, and over how many redirects. A value that goes along with it.
struct RequestPath {
    QUrl address; ///< the first of the way: as a rule one that a person gave
    QUrl url; ///< that is asked
    int redirects = 0; ///< of servers, between the two
    bool isLed = false; ///< a remembered target is asked in the address's place
    bool wasLedBack = false; ///< that was to no avail
    bool isRest = false; ///< what is asked for does not begin at byte 0
};
