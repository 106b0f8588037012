// Services of the package and its add-ons.
#pragma once

// The number of the service that runs the add-ons.
inline constexpr int kAddOnService = 17;

// What ChangeServiceStatus does with a service: the one action that the upgrade asks for. What it stands for
// is not settled.
inline constexpr int kServiceAction1 = 1;

// Asks for an action on a service. How services are reached is not settled: returns 0 and does nothing.
int ChangeServiceStatus(int service, int action);
