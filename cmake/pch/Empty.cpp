// The precompiled headers beside this file belong to a target, and a target needs a source.
