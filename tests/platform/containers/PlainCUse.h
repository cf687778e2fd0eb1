#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Uses the containers from plain C. 0 if all is well, else the line of the first failure. */
int UseContainersFromC(void);

#ifdef __cplusplus
}
#endif
