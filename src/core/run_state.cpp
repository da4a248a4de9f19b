#include "core/run_state.h"

RunState runState;
