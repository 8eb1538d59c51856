# tests: definitions
