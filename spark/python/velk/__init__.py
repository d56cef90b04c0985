"""Masks tables of Spark by a masking string, in classic PySpark and through Spark Connect alike."""

import importlib

from pyspark.sql import DataFrame

__all__ = ["mask"]


def mask(rows: DataFrame, masking_string: str) -> DataFrame:
    """Masks every column of a table by its rule; names, types and metadata stay.

    String and columns are checked here, by the driver or the server. Nothing is read before an action on the result
    asks for it. Each column may hold null, because a value that cannot be masked becomes null unless the string says
    otherwise. A string that names no key has that of the session's `spark.velk.key`.

    Raises an exception of `pyspark.errors` if the string is wrong, with the place, if a column has no rule or a rule no
    column, or if a column's type cannot hold what its rule gives; and a TypeError if the string is none.
    """
    if not isinstance(masking_string, str):
        raise TypeError(f"a masking string is a str, not {type(masking_string).__name__}")
    functions = _functions(rows)
    # The string is read in one place for all languages: by the function, to which a table's row is a struct.
    row = functions.call_function("velk_mask", functions.struct("*"), functions.lit(masking_string))
    masked = rows.select(row.alias("row")).select("row.*")
    masked.schema  # Through Spark Connect nothing is checked until something is asked.
    return masked


def _functions(rows):
    """What makes columns for the table's session; those of Spark Connect and others do not mix."""
    connect = type(rows).__module__.startswith("pyspark.sql.connect.")
    return importlib.import_module("pyspark.sql.connect.functions" if connect else "pyspark.sql.functions")
