/* The strict private-key-usage-period switch, shared by the platform and
 * the provider: 0 until read, then 1 (off) or 2 (on). Its users access it
 * with relaxed atomic builtins; every writer writes the same value. */
#include <maren/host.h>

extern "C" {

int _strictPkupCheck = 0;

}  // extern "C"
