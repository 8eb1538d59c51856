# The cube engine: filled in by its own change.
