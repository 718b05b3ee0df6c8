// A library that reaches up: the check must name this line.
#include "high/High.h"
