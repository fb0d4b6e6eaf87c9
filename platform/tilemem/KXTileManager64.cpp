#include "KXGlobal.h"
