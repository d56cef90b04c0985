/**
 * The Java API for data masking, its loader and, in the jar, the native libraries.
 *
 * <p>A recent Java warns of the libraries unless it is started with {@code
 * --enable-native-access=com.brel.sorn.velk}, or {@code ALL-UNNAMED} on the class path.
 */
module com.brel.sorn.velk {
  requires java.management;
  requires static org.jspecify;

  exports com.brel.sorn.velk;
  exports com.brel.sorn.velk.internal;
  exports com.brel.sorn.velk.masking;
}
