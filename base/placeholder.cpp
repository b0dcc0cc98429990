// replaced by the foundation types
