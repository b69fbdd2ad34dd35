// SPDX-License-Identifier: MIT
#include <host/engine/enginenews.h>

#include <host/engine/enginecommand.h>
#include <host/engine/jsonfields.h>

// What crosses an engine's face, each with its fields: the one place that says how it is written down.

template<class Fields>
void describe(Fields &fields, AbstractError &value)
{
    fields("code", value.code);
    fields("category", value.category);
    fields("source", value.source);
    fields("description", value.description);
}

template<class Fields>
void describe(Fields &fields, AbstractDownloadSection &value)
{
    fields("offset", value.offset);
    fields("size", value.size);
    fields("downloaded", value.downloaded);
}

template<class Fields>
void describe(Fields &fields, NetworkUsageSettings &value)
{
    fields("rate", value.downloadLimit);
    fields("connections", value.maximumConnections);
    fields("connectionsPerServer", value.maximumConnectionsPerServer);
    fields("lowPriority", value.lowPriority);
}

template<class Fields>
void describe(Fields &fields, Credential &value)
{
    fields("origin", value.origin);
    fields("user", value.user);
    fields("password", value.password);
    fields("bearer", value.bearer);
}

template<class Fields>
void describe(Fields &fields, NetworkPath &value)
{
    fields("interface", value.interface);
    fields("family", value.family);
    fields("resolved", value.resolved);
    fields("connectTimeoutMs", value.connectTimeoutMs);
    fields("silenceTimeoutMs", value.silenceTimeoutMs);
    fields("certificateFile", value.certificateFile);
    fields("keyFile", value.keyFile);
    fields("keyPassword", value.keyPassword);
}

template<class Fields>
void describe(Fields &fields, NetworkOptions &value)
{
    fields("proxy", value.proxy);
    fields("useEnvironmentProxies", value.useEnvironmentProxies);
    fields("credentials", value.credentials);
    fields("netrc", value.netrc);
    fields("netrcFile", value.netrcFile);
    fields("cookiesFile", value.cookiesFile);
    fields("path", value.path);
}

template<class Fields>
void describe(Fields &fields, SessionOptions &value)
{
    fields("listPath", value.listPath);
    fields("isListKept", value.isListKept);
    fields("isListNeeded", value.isListNeeded);
    fields("moduleFolders", value.moduleFolders);
    fields("ignoreSslErrors", value.ignoreSslErrors);
    fields("takesServersTime", value.takesServersTime);
    fields("caCertificatesFile", value.caCertificatesFile);
    fields("network", value.network);
    fields("usage", value.usage);
    fields("allTogether", value.allTogether);
}

template<class Fields>
void describe(Fields &fields, TimesOfDay &value)
{
    QString text = value.toText();
    fields("text", text);
    if (text != value.toText())
        value = TimesOfDay::fromText(text).value_or(TimesOfDay());
}

template<class Fields>
void describe(Fields &fields, RatesOfDay::Timed &value)
{
    fields("rate", value.rate);
    fields("times", value.times);
}

template<class Fields>
void describe(Fields &fields, QueueOptions &value)
{
    fields("mostAtOnce", value.mostAtOnce);
    fields("speedLimit", value.speedLimit);
    fields("speedTimes", value.speedTimes);
    fields("rateTimes", value.rateTimes);
    fields("schedule", value.schedule);
    fields("mostTries", value.mostTries);
    fields("retryWaitMs", value.retryWaitMs);
    fields("canAsk", value.canAsk);
}

template<class Fields>
void describe(Fields &fields, EngineOptions &value)
{
    fields("session", value.session);
    fields("queue", value.queue);
}

template<class Fields>
void describe(Fields &fields, SecretHeader &value)
{
    fields("name", value.name);
    fields("value", value.value);
    fields("origin", value.origin);
}

template<class Fields>
void describe(Fields &fields, DownloadOptions &value)
{
    OptionValues values = value.values();
    fields("values", values);
    if (values != value.values())
        value.give(values);
    fields("checksumResult", value.checksumResult);
    fields("user", value.user);
    fields("password", value.password);
    fields("headers", value.headers);
    fields("storeSecrets", value.storeSecrets);
}

template<class Fields>
void describe(Fields &fields, OptionChanges &value)
{
    fields("values", value.values);
    fields("headers", value.headers);
    fields("headersForAll", value.headersForAll);
    fields("secretHeaders", value.secretHeaders);
    fields("storeSecrets", value.storeSecrets);
    fields("user", value.user);
    fields("password", value.password);
}

template<class Fields>
void describe(Fields &fields, DownloadRequest &value)
{
    fields("url", value.url);
    fields("folder", value.folder);
    fields("outputName", value.outputName);
    fields("isStreamed", value.isStreamed);
    fields("takesOver", value.takesOver);
    fields("isToAsk", value.isToAsk);
    fields("referer", value.referer);
    fields("userAgent", value.userAgent);
    fields("postData", value.postData);
    fields("headers", value.headers);
    fields("headersForAll", value.headersForAll);
    fields("mirrors", value.mirrors);
    fields("onExists", value.onExists);
    fields("onlyOnce", value.onlyOnce);
    fields("options", value.options);
    fields("changes", value.changes);
}

template<class Fields>
void describe(Fields &fields, Limits &value)
{
    fields("rate", value.rate);
    fields("connections", value.connections);
    fields("connectionsPerServer", value.connectionsPerServer);
}

template<class Fields>
void describe(Fields &fields, SnapshotQuery &value)
{
    fields("first", value.first);
    fields("count", value.count);
    fields("filter", value.filter);
    fields("order", value.order);
}

template<class Fields>
void describe(Fields &fields, EngineCommand &value)
{
    fields("number", value.number);
    fields("kind", value.kind);
    fields("id", value.id);
    fields("value", value.value);
    fields("flag", value.flag);
    fields("options", value.options);
    fields("request", value.request);
    fields("changes", value.changes);
    fields("limits", value.limits);
    fields("query", value.query);
}

template<class Fields>
void describe(Fields &fields, ResourceIdentity &value)
{
    fields("etag", value.etag);
    fields("weakEtag", value.weakEtag);
    fields("lastModified", value.lastModified);
    fields("total", value.total);
    fields("digest", value.digest);
}

template<class Fields>
void describe(Fields &fields, KnownAddress &value)
{
    fields("url", value.url);
    fields("target", value.target);
    fields("redirects", value.redirects);
    fields("identity", value.identity);
}

template<class Fields>
void describe(Fields &fields, Evidence &value)
{
    fields("answers", value.answers);
    fields("doubt", value.doubt);
    fields("isEndKnown", value.isEndKnown);
    fields("address", value.address);
    fields("etag", value.etag);
    fields("digest", value.digest);
}

template<class Fields>
void describe(Fields &fields, ResourceMemory &value)
{
    fields("addresses", value.addresses);
    fields("evidence", value.evidence);
}

template<class Fields>
void describe(Fields &fields, FileAssurance &value)
{
    fields("assurance", value.assurance);
    fields("doubt", value.doubt);
}

template<class Fields>
void describe(Fields &fields, FileSnapshot &value)
{
    fields("name", value.name);
    fields("size", value.size);
    fields("done", value.done);
    fields("sections", value.sections);
    fields("fetching", value.fetching);
}

template<class Fields>
void describe(Fields &fields, ConnectionSnapshot &value)
{
    fields("server", value.server);
    fields("position", value.position);
    fields("speed", value.speed);
}

template<class Fields>
void describe(Fields &fields, RunSnapshot &value)
{
    fields("attempts", value.attempts);
    fields("seconds", value.seconds);
    fields("mostConnections", value.mostConnections);
    fields("bound", value.bound);
    fields("limits", value.limits);
    fields("path", value.path);
    fields("contentEncoding", value.contentEncoding);
    fields("isEncodingAskedFor", value.isEncodingAskedFor);
    fields("isSkipped", value.isSkipped);
}

template<class Fields>
void describe(Fields &fields, SnapshotDetails &value)
{
    fields("finalUrl", value.finalUrl);
    fields("mirrors", value.mirrors);
    fields("path", value.path);
    fields("contentType", value.contentType);
    fields("lastModified", value.lastModified);
    fields("contentEncoding", value.contentEncoding);
    fields("options", value.options);
    fields("keptHeaders", value.keptHeaders);
    fields("lastFailure", value.lastFailure);
    fields("memory", value.memory);
}

template<class Fields>
void describe(Fields &fields, StreamSnapshot &value)
{
    fields("path", value.path);
    fields("ready", value.ready);
    fields("taken", value.taken);
}

template<class Fields>
void describe(Fields &fields, Snapshot &value)
{
    fields("id", value.id);
    fields("state", value.state);
    fields("url", value.url);
    fields("folder", value.folder);
    fields("files", value.files);
    fields("speed", value.speed);
    fields("allocated", value.allocated);
    fields("connections", value.connections);
    fields("restingUntil", value.restingUntil);
    fields("isFinished", value.isFinished);
    fields("checksum", value.checksum);
    fields("assurance", value.assurance);
    fields("failure", value.failure);
    fields("error", value.error);
    fields("ownerPid", value.ownerPid);
    fields("ownerSecondsLeft", value.ownerSecondsLeft);
    fields("created", value.created);
    fields("finished", value.finished);
    fields("stream", value.stream);
    fields("run", value.run);
    fields("details", value.details);
}

template<class Fields>
void describe(Fields &fields, Question &value)
{
    fields("id", value.id);
    fields("downloadId", value.downloadId);
    fields("kind", value.kind);
    fields("title", value.title);
    fields("path", value.path);
    fields("choices", value.choices);
}

template<class Fields>
void describe(Fields &fields, Totals &value)
{
    fields("waiting", value.waiting);
    fields("active", value.active);
    fields("done", value.done);
    fields("size", value.size);
    fields("speed", value.speed);
}

template<class Fields>
void describe(Fields &fields, EngineOverview &value)
{
    fields("totals", value.totals);
    fields("limits", value.limits);
    fields("mostAtOnce", value.mostAtOnce);
    fields("outOfHoursUntil", value.outOfHoursUntil);
}

template<class Fields>
void describe(Fields &fields, Warning &value)
{
    fields("kind", value.kind);
    fields("failure", value.failure);
    fields("next", value.next);
    fields("attempt", value.attempt);
    fields("inMs", value.inMs);
    fields("headers", value.headers);
    fields("until", value.until);
}

template<class Fields>
void describe(Fields &fields, QueryResult &value)
{
    fields("name", value.name);
    fields("size", value.size);
    fields("type", value.type);
    fields("resume", value.resume);
    fields("url", value.url);
}

template<class Fields>
void describe(Fields &fields, EngineAnswer &value)
{
    fields("number", value.number);
    fields("failure", value.failure);
    fields("error", value.error);
    fields("ids", value.ids);
    fields("snapshots", value.snapshots);
    fields("total", value.total);
    fields("questions", value.questions);
    fields("warnings", value.warnings);
    fields("found", value.found);
    fields("overview", value.overview);
    fields("existing", value.existing);
}

template<class Fields>
void describe(Fields &fields, EngineNews &value)
{
    fields("kind", value.kind);
    fields("id", value.id);
    fields("position", value.position);
    fields("answer", value.answer);
    fields("snapshot", value.snapshot);
    fields("question", value.question);
    fields("totals", value.totals);
    fields("warning", value.warning);
}

QJsonObject EngineCommand::toJson() const
{
    return JsonFields::toObject(*this);
}

EngineCommand EngineCommand::fromJson(const QJsonObject &json)
{
    return JsonFields::fromObject<EngineCommand>(json);
}

QJsonObject EngineAnswer::toJson() const
{
    return JsonFields::toObject(*this);
}

EngineAnswer EngineAnswer::fromJson(const QJsonObject &json)
{
    return JsonFields::fromObject<EngineAnswer>(json);
}

QJsonObject EngineNews::toJson() const
{
    return JsonFields::toObject(*this);
}

EngineNews EngineNews::fromJson(const QJsonObject &json)
{
    return JsonFields::fromObject<EngineNews>(json);
}

QJsonObject Snapshot::toJson() const
{
    return JsonFields::toObject(*this);
}

Snapshot Snapshot::fromJson(const QJsonObject &json)
{
    return JsonFields::fromObject<Snapshot>(json);
}

QJsonObject Question::toJson() const
{
    return JsonFields::toObject(*this);
}

Question Question::fromJson(const QJsonObject &json)
{
    return JsonFields::fromObject<Question>(json);
}

QJsonObject Totals::toJson() const
{
    return JsonFields::toObject(*this);
}

Totals Totals::fromJson(const QJsonObject &json)
{
    return JsonFields::fromObject<Totals>(json);
}

QJsonObject Warning::toJson() const
{
    return JsonFields::toObject(*this);
}

Warning Warning::fromJson(const QJsonObject &json)
{
    return JsonFields::fromObject<Warning>(json);
}
