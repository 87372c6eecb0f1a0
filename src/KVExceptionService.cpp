// KVExceptionService: start-up record of the exception service.
#include "KVExceptionService.h"

int KVExceptionService::s_initCount = 0;

void KVExceptionService::init() { ++s_initCount; }
