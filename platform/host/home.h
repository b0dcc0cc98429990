/* The platform's home directory, where the configuration registry, the
 * stores and the caches keep their files. */
#ifndef MAREN_PLATFORM_HOST_HOME_H
#define MAREN_PLATFORM_HOST_HOME_H

#include <string>

namespace maren::detail {

/* MAREN_HOME if set, else $XDG_DATA_HOME/maren (an absolute XDG_DATA_HOME
 * only), else <home directory>/.local/share/maren. The environment is read
 * at each call. Empty when no home directory can be found at all. */
std::string home_directory();

/* Creates the home directory and its missing parents (new ones with mode
 * 0700) and stores its path in *path. Returns 0 or an errno value. */
int create_home_directory(std::string *path);

}  // namespace maren::detail

#endif
