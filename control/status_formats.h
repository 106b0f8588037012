// A status as monitoring systems read it.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

// The text format of Prometheus, as a textfile collector reads it. What cannot be told is left out.
std::string PrometheusText(const Json::Value& status, const std::vector<Json::Value>& history);

// The line of a plugin and its exit status: 0 OK; 1 WARNING, an upgrade is due or has run for longer than `warn`
// seconds; 2 CRITICAL; 3 UNKNOWN.
struct PluginResult {
    int status;
    std::string line;
};

PluginResult PluginLine(const Json::Value& status, const std::vector<Json::Value>& history, unsigned warn);

// The same where there is no status to tell.
PluginResult PluginError(const std::string& error);
