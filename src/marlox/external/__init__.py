"""Integrations of external engineering programs."""
