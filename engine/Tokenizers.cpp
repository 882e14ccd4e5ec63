#include "Tokenizers.h"
