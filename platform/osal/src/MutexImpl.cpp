#include "osal/MutexImpl.h"

#include <cerrno>
#include <cstdlib>

namespace threadsafe {

namespace {

// Aborts the process if `result` is an error. Every error means misuse: the thread unlocks a mutex
// that it does not own, or locks a mutex that it owns. Continuing would corrupt the data that the
// mutex protects.
void require(int result) {
    if (result != 0) {
        std::abort();
    }
}

}  // namespace

MutexImpl::MutexImpl(bool recursive) {
    pthread_mutexattr_t attributes;
    require(pthread_mutexattr_init(&attributes));
    require(pthread_mutexattr_settype(
        &attributes, recursive ? PTHREAD_MUTEX_RECURSIVE : PTHREAD_MUTEX_ERRORCHECK));
    require(pthread_mutex_init(&mutex_, &attributes));
    require(pthread_mutexattr_destroy(&attributes));
}

MutexImpl::~MutexImpl() {
    pthread_mutex_destroy(&mutex_);
}

void MutexImpl::lock() {
    require(pthread_mutex_lock(&mutex_));
}

bool MutexImpl::try_lock() {
    const int result = pthread_mutex_trylock(&mutex_);
    if (result != EBUSY) {
        require(result);
    }
    return result == 0;
}

void MutexImpl::unlock() {
    require(pthread_mutex_unlock(&mutex_));
}

}  // namespace threadsafe
