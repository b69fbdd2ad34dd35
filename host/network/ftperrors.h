// SPDX-License-Identifier: MIT
#pragma once

#include <QNetworkReply>

/// What Qt calls a failure that libcurl met on an FTP transfer.
/// @param code libcurl's CURLcode
/// @param answer the server's last status; 0 = it has not said anything
/// @param systemError errno of a connection that could not be made; 0 = none
QNetworkReply::NetworkError ftpNetworkError(int code, int answer, int systemError);
