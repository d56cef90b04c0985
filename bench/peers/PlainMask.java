import java.io.BufferedReader;
import java.io.BufferedWriter;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.time.LocalDate;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.function.UnaryOperator;
import javax.crypto.Mac;
import javax.crypto.SecretKey;

/**
 * Masks the file with a plain Java program for this one table, as somebody would write it in an
 * afternoon: {@code PlainMask keep|a|b IN OUT}.
 */
final class PlainMask {
  private record PlainKey(byte[] getEncoded) implements SecretKey {
    @Override
    public String getAlgorithm() {
      return "HmacSHA256";
    }

    @Override
    public String getFormat() {
      return "RAW";
    }
  }

  private static final int COLUMNS = 8;
  private static final HexFormat HEX = HexFormat.of();
  private static final UnaryOperator<String> KEEP = UnaryOperator.identity();

  private final Mac mac;

  private PlainMask(String key) throws GeneralSecurityException {
    mac = Mac.getInstance("HmacSHA256");
    mac.init(new PlainKey(key.getBytes(StandardCharsets.UTF_8)));
  }

  private byte[] hash(String text) {
    return mac.doFinal(text.getBytes(StandardCharsets.UTF_8));
  }

  /** The first 15 hexadecimal digits. */
  private long number(String text) {
    byte[] hash = hash(text);
    long number = 0;
    for (int i = 0; i < 8; i++) {
      number = number << 8 | hash[i] & 0xff;
    }
    return number >>> 4;
  }

  private String hashed(String text) {
    return HEX.formatHex(hash(text), 0, 16);
  }

  private String address(String text) {
    return hashed(text) + "@example.com";
  }

  private String digits(String text, int count, long most) {
    String number = Long.toString(number(text) % most);
    return "0".repeat(count - number.length()) + number;
  }

  private String phone(String text) {
    String number = digits(text, 11, 100_000_000_000L);
    return "+" + number.substring(0, 2) + " " + number.substring(2, 4) + " " + number.substring(4);
  }

  private static int luhnDigit(String number) {
    int sum = 0;
    boolean doubled = true;
    for (int i = number.length() - 1; i >= 0; i--, doubled = !doubled) {
      int digit = number.charAt(i) - '0';
      sum += doubled ? 2 * digit - (digit > 4 ? 9 : 0) : digit;
    }
    return (10 - sum % 10) % 10;
  }

  private String card(String text) {
    String number = text.substring(0, 6) + digits(text, 9, 1_000_000_000L);
    return number + luhnDigit(number);
  }

  private static UnaryOperator<String> partial(int kept) {
    return text -> "*".repeat(text.length() - kept) + text.substring(text.length() - kept);
  }

  private String shifted(String text) {
    long shift = number(text) % 60 - 30;
    return LocalDate.parse(text).plusDays(shift >= 0 ? shift + 1 : shift).toString();
  }

  private UnaryOperator<String>[] profile(String name) {
    @SuppressWarnings({"unchecked", "rawtypes"})
    UnaryOperator<String>[] masks = new UnaryOperator[COLUMNS];
    Arrays.fill(masks, KEEP);
    if (name.equals("keep")) {
      return masks;
    }
    boolean a = name.equals("a");
    masks[1] = this::hashed;
    masks[2] = this::address;
    masks[3] = a ? partial(2) : this::phone;
    masks[4] = a ? partial(4) : this::card;
    masks[5] = this::shifted;
    masks[7] = a ? text -> null : this::hashed;
    return masks;
  }

  /** Where the next cell's value goes; null is an empty cell. */
  private static int readCell(String line, int from, String[] row, int column) {
    int end;
    if (from < line.length() && line.charAt(from) == '"') {
      end = from + 1;
      while (line.charAt(end) != '"' || end + 1 < line.length() && line.charAt(end + 1) == '"') {
        end += line.charAt(end) == '"' ? 2 : 1;
      }
      row[column] = line.substring(from + 1, end++).replace("\"\"", "\"");
    } else {
      end = line.indexOf(',', from);
      end = end < 0 ? line.length() : end;
      row[column] = end == from ? null : line.substring(from, end);
    }
    return end + 1;
  }

  private static void writeCell(BufferedWriter out, String value) throws IOException {
    if (value.indexOf(',') >= 0 || value.indexOf('"') >= 0 || value.indexOf('\n') >= 0) {
      out.write('"');
      out.write(value.replace("\"", "\"\""));
      out.write('"');
    } else {
      out.write(value);
    }
  }

  private static void mask(BufferedReader in, BufferedWriter out, UnaryOperator<String>[] masks)
      throws IOException {
    out.write(in.readLine());
    out.write('\n');
    String[] row = new String[COLUMNS];
    for (String line = in.readLine(); line != null; line = in.readLine()) {
      int at = 0;
      for (int column = 0; column < COLUMNS; column++) {
        at = readCell(line, at, row, column);
        String masked = row[column] == null ? null : masks[column].apply(row[column]);
        if (column > 0) {
          out.write(',');
        }
        if (masked != null) {
          writeCell(out, masked);
        }
      }
      out.write('\n');
    }
  }

  public static void main(String[] arguments) throws IOException, GeneralSecurityException {
    PlainMask plain = new PlainMask(System.getenv("MASK_KEY"));
    try (BufferedReader in = Files.newBufferedReader(Path.of(arguments[1]));
        BufferedWriter out = Files.newBufferedWriter(Path.of(arguments[2]))) {
      mask(in, out, plain.profile(arguments[0]));
    }
  }
}
