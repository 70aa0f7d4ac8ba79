// Declaration nodes of the command language, by family: what a class
// definition is made of (members, units, access rights, values and
// constraints), class declarations as written in commands, and the
// initializers of an enum.
#pragma once

#include "oxaccessright.h"
#include "oxclassdecl.h"
#include "oxenumdecl.h"
#include "oxmemberdecl.h"
#include "oxunitdecl.h"
#include "oxvaluedecl.h"
