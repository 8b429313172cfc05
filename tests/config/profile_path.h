// Leads the device profile's fixed path to a file of the test, in the test program that wraps open
// (CMakeLists.txt).
#pragma once

namespace config_test {

// From now on "/korvan.conf" is that file; the text must stay. Call it before threads start.
void set_profile_path(const char* path);

}  // namespace config_test
