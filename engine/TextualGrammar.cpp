#include "TextualGrammar.h"
