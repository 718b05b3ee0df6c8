// Reaches up, past a bracket [ that must not hide the include below.
#include "high/High.h"
