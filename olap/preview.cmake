# The preview widget: filled in by its own change.
