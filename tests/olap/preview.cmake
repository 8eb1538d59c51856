# tests: preview
