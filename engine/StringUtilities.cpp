#include "StringUtilities.h"
