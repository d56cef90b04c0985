package com.brel.sorn.velk.spark;

import com.brel.sorn.velk.masking.Batch;
import com.brel.sorn.velk.masking.FieldError;
import java.util.List;
import java.util.Optional;
import org.apache.spark.sql.catalyst.expressions.GenericInternalRow;

/** Masks single values by a rule; what cannot be masked is null, or told by its error's code. */
final class ValueMasking extends InternalMasking {
  private static final long serialVersionUID = 1L;

  private final Form form;
  private final boolean tries;

  ValueMasking(String maskingString, Form form, boolean tries) {
    super(maskingString, List.of(ValueRule.COLUMN));
    this.form = form;
    this.tries = tries;
  }

  @Override
  Object none() {
    return tries ? tried(null, null) : null;
  }

  @Override
  void add(Batch batch, Object value) {
    add(batch, 0, form, value);
  }

  @Override
  Object result(Batch batch, Object given) {
    Optional<FieldError> error = batch.error(0, 0);
    if (error.isPresent()) {
      return tries ? tried(null, error.get().code()) : null;
    }
    if (batch.isNull(0, 0)) {
      return none();
    }
    Object value = read(batch, 0, form);
    if (!tries) {
      return value;
    }
    return tried(value, value == null ? MaskingErrors.OUT_OF_RANGE : null);
  }

  private static Object tried(Object value, Integer code) {
    return new GenericInternalRow(new Object[] {value, code});
  }
}
