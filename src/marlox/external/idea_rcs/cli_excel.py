"""A result table as an Excel workbook (the extra ``excel``: openpyxl), for ``table -o
out.xlsx``: one sheet, the header row naming each column and its unit, frozen above the rows."""

from __future__ import annotations

from typing import IO, Any

from marlox._extras import MissingExtra, require

from .cli_errors import UserError


def require_openpyxl() -> None:
    """UserError naming the extra when openpyxl is not installed (before any file is read)."""
    try:
        require("openpyxl", extra="excel", what="writing .xlsx")
    except MissingExtra as error:
        raise UserError(str(error)) from None


def header(table: Any) -> list[str]:
    """Each column's name, followed by its unit in brackets where it has one."""
    units = table.units
    return [f"{name} [{units[name]}]" if units[name] else name for name in table.column_names]


def write_xlsx(table: Any, out: IO[bytes]) -> None:
    """Write `table` (a ResultTable or CheckTable) as a workbook to the binary stream `out`."""
    from openpyxl import Workbook
    from openpyxl.cell import WriteOnlyCell
    from openpyxl.styles import Font

    book = Workbook(write_only=True)
    sheet = book.create_sheet("checks")
    sheet.freeze_panes = "A2"
    bold = Font(bold=True)
    cells = []
    for text in header(table):
        cell = WriteOnlyCell(sheet, value=text)
        cell.font = bold
        cells.append(cell)
    sheet.append(cells)
    for row in table.to_pylist():
        sheet.append(list(row.values()))
    book.save(out)
