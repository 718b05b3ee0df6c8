#include "Low.h"
#include <high/if.h>  // a system header, not the library high
