// The functions of the commands, one source file a command; the table of them is in main.cpp.
#pragma once

#include <string>

#include "control/command.h"

Outcome RunStatus(const Arguments& arguments);
std::string PrintStatus(const Json::Value& result, const Arguments& arguments);

void AddPlanOptions(CLI::App& app, Arguments& arguments);
Outcome RunPlan(const Arguments& arguments);
std::string PrintPlan(const Json::Value& result, const Arguments& arguments);

void AddHistoryOptions(CLI::App& app, Arguments& arguments);
Outcome RunHistory(const Arguments& arguments);
std::string PrintHistory(const Json::Value& result, const Arguments& arguments);

Outcome RunRetry(const Arguments& arguments);
std::string PrintRetry(const Json::Value& result, const Arguments& arguments);

void AddCheckOptions(CLI::App& app, Arguments& arguments);
Outcome RunCheck(const Arguments& arguments);
std::string PrintCheck(const Json::Value& result, const Arguments& arguments);

Outcome RunMigrations(const Arguments& arguments);
std::string PrintMigrations(const Json::Value& result, const Arguments& arguments);
