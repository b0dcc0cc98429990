/* Recursive mutexes for callers that re-enter their own locks. */
#include <errno.h>
#include <pthread.h>

#include <maren/host.h>

extern "C" {

int host_mutex_init_recursive(pthread_mutex_t *mutex) {
    if (mutex == nullptr) return EINVAL;
    pthread_mutexattr_t attributes;
    int error = pthread_mutexattr_init(&attributes);
    if (error != 0) return error;
    error = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    if (error == 0) error = pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return error;
}

}  // extern "C"
