// SPDX-License-Identifier: MIT
#include <host/network/sharedcookiejar.h>

#include <QNetworkAccessManager>

SharedCookieJar::SharedCookieJar(QObject *parent)
    : QNetworkCookieJar(parent)
{
}

SharedCookieJar::~SharedCookieJar() = default;

void SharedCookieJar::serve(QNetworkAccessManager &manager)
{
    QObject *const owner = parent();
    // A manager adopts its jar and would take it along when it goes.
    manager.setCookieJar(this);
    setParent(owner);
}
