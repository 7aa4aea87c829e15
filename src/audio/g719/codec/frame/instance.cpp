#include "../g719.h"
