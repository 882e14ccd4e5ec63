#include "Resources.h"
