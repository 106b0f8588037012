// The functions of the commands, one source file a command; the table of them is in main.cpp.
#pragma once

#include <string>

#include "control/command.h"

Outcome RunStatus(const Arguments& arguments);
std::string PrintStatus(const Json::Value& result, const Arguments& arguments);

Outcome RunPlan(const Arguments& arguments);
std::string PrintPlan(const Json::Value& result, const Arguments& arguments);

Outcome RunRehearse(const Arguments& arguments);
std::string PrintRehearse(const Json::Value& result, const Arguments& arguments);

Outcome RunHistory(const Arguments& arguments);
std::string PrintHistory(const Json::Value& result, const Arguments& arguments);

Outcome RunRetry(const Arguments& arguments);
std::string PrintRetry(const Json::Value& result, const Arguments& arguments);

Outcome RunCheck(const Arguments& arguments);
std::string PrintCheck(const Json::Value& result, const Arguments& arguments);

Outcome RunMigrations(const Arguments& arguments);
std::string PrintMigrations(const Json::Value& result, const Arguments& arguments);

Outcome RunSnapshot(const Arguments& arguments);
std::string PrintSnapshot(const Json::Value& result, const Arguments& arguments);

Outcome RunSnapshots(const Arguments& arguments);
std::string PrintSnapshots(const Json::Value& result, const Arguments& arguments);

Outcome RunVerify(const Arguments& arguments);
std::string PrintVerify(const Json::Value& result, const Arguments& arguments);

Outcome RunRestore(const Arguments& arguments);
std::string PrintRestore(const Json::Value& result, const Arguments& arguments);

Outcome RunForget(const Arguments& arguments);
std::string PrintForget(const Json::Value& result, const Arguments& arguments);
