#include "state/run_state.h"

RunState runState;
