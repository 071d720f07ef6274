// The one export macro: what carries it leaves the shared library, nothing else does.
#pragma once

#ifndef DSCM_API
#if defined(__GNUC__)
#define DSCM_API __attribute__((visibility("default")))
#else
#define DSCM_API
#endif
#endif
