/* The vector functions: everything in vDSP.h and vForce.h. */
#pragma once

#include <Accelerate/vDSP.h>
#include <Accelerate/vForce.h>
