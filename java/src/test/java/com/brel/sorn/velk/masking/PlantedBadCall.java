package com.brel.sorn.velk.masking;

/** Makes a native call that the checker of the virtual machine must report. */
final class PlantedBadCall {
  private PlantedBadCall() {}

  private static native void call();

  public static void main(String[] arguments) {
    System.load(arguments[0]);
    try {
      call();
    } catch (IllegalStateException planted) {
      System.out.println("the bad call was made");
    }
  }
}
