#include "../high/High.h"
#include "Mid.h"
