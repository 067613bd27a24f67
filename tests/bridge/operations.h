#pragma once

#include <jni.h>

#include <functional>
#include <string>

#include "support/client.h"
#include "support/java.h"

// Runs a call on a new thread that the virtual machine does not know; answers "void".
std::string OnClientThread(const std::function<void(const fake::Callbacks&)>& call);

jint Load(fake::FakeVm& vm);

// Gives the scripts their operations.
void DefineOperations();
