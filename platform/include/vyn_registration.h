/* How the module registers its objects with the agent, which is how a platform recognizes them. */
#ifndef VYN_REGISTRATION_H
#define VYN_REGISTRATION_H

#define VYN_MODULE_NAME "vyn_mib"

/* The sub-identifiers of vynMIB, under which all objects are. */
#define VYN_MODULE_ROOT 1, 3, 6, 1, 4, 1, 57193, 12, 7

#endif
