#include "V_strings.h"
