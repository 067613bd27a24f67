#pragma once

#include <string>

// What this program does when it is started by one of its own tests, with the task's name as its argument.
int RunAsChild(const std::string& task);
