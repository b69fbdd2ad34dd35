// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

/// The command line as it was typed, before anything is made of it.
struct Typed {
    static constexpr int kNotGiven = -1;

    std::string command = "get";
    std::vector<std::string> words; ///< what follows the command: URLs or numbers
    std::string inputFile;
    std::string folder;
    std::string output;
    std::vector<std::string> mirrors;
    std::vector<std::string> headers;
    std::vector<std::string> headersForAll;
    std::string referer;
    std::string userAgent;
    std::string postData;
    std::string cookiesFile;
    std::string checksum;
    std::string proxy;
    std::string user;
    std::string netrcFile;
    std::string caCertificatesFile;
    std::string listFile;
    std::string logFile;
    std::string progress = "auto";
    std::string onExists = "rename";
    std::string onChanged = "ask";
    std::string onUnresumable = "ask";
    std::string limitRate;
    std::string overallLimit;
    std::string retryWait = "1";
    std::string sortBy = "id";
    int logLevel = kNotGiven;
    int connections = 8;
    int connectionsPerServer = 0;
    int overallConnections = 0;
    int overallConnectionsPerServer = 0;
    int jobs = 4;
    int tries = 5;
    int limit = 50;
    bool insecure = false;
    bool netrc = false;
    bool storeSecrets = false;
    bool json = false;
    bool quiet = false;
    bool all = false;
    bool finished = false;
    bool unfinished = false;
    bool withFile = false;
    bool force = false;
    bool hasOutput = false;
    bool hasConnections = false;
    bool hasConnectionsPerServer = false;
    bool hasLimitRate = false;
    bool hasOnChanged = false;
    bool hasOnExists = false;
    bool hasOnUnresumable = false;
    bool query = false;
    bool check = false; ///< of list
    bool repair = false; ///< of list
};
