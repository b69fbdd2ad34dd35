// SPDX-License-Identifier: MIT
#pragma once

#include <QNetworkCookieJar>

class QNetworkAccessManager;

/// The one cookie jar of all managers.
class SharedCookieJar : public QNetworkCookieJar
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SharedCookieJar)

public:
    explicit SharedCookieJar(QObject *parent = nullptr);
    ~SharedCookieJar() override;

    /// Becomes the manager's jar without becoming its property, and must outlive it.
    void serve(QNetworkAccessManager &manager);
};
