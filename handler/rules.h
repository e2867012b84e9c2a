// The rules that entries SPECIAL name, declared from the registration lists.
#pragma once

#include "handler/toolkit.h"

#define BRANCH(oid)
#define TABLE(oid, ...)
#define OBJECT(oid, ...)
#define SPECIAL(rule, ...) snmp_reply *rule(const HandlerCall &call);
#include "registry/groups/all.def"
#undef BRANCH
#undef TABLE
#undef OBJECT
#undef SPECIAL
