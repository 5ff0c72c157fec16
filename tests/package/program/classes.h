#pragma once

/// True; there to have every class of the interface linked.
bool areClassesLinked();
