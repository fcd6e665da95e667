#pragma once

#include <functional>

// Runs a check as an unprivileged user, so that folder permissions mean what they mean
// for a real user even when the tests themselves run as root. When the tests already run
// unprivileged the check simply runs here. Returns the check's answer; a check that
// could not be run returns false.
bool runUnprivileged(const std::function<bool()> &check);

// Makes a temporary folder reachable by the unprivileged user (it is created by root in CI).
void shareWithUnprivileged(const char *path);
