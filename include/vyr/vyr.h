// Everything a shader or a host needs of the host interface.
#pragma once

#include "vyr/handles.h"
#include "vyr/host_objects.h"
#include "vyr/shader.h"
#include "vyr/shading_state.h"
#include "vyr/types.h"
