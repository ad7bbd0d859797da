#pragma once

// The table of every data type the simulator knows, as X-macro lists, so that the identifier
// constants (HKTypeIdentifiers.cpp) and the interned type objects (HKObjectType.cpp) are made
// from one list and cannot drift apart. Internal to HealthKit/.
//
// HK_QUANTITY_TYPES(X): X(name, aggregation style, a unit of the type's dimension)
//   The identifier is "HKQuantityTypeIdentifier" + name. The unit decides which units a sample of
//   the type may carry (any unit of the same dimension); it is the unit HealthKit documents for
//   the type.
// HK_CATEGORY_TYPES(X): X(name, lowest valid value, highest valid value)
//   The identifier is "HKCategoryTypeIdentifier" + name; a sample's value must lie in the range.
// HK_CORRELATION_TYPES(X): X(name); the identifier is "HKCorrelationTypeIdentifier" + name.

#define HK_QUANTITY_TYPES(X)                                                 \
  /* Body measurements */                                                    \
  X(BodyMassIndex, DiscreteArithmetic, "count")                              \
  X(BodyFatPercentage, DiscreteArithmetic, "%")                              \
  X(Height, DiscreteArithmetic, "cm")                                        \
  X(BodyMass, DiscreteArithmetic, "kg")                                      \
  X(LeanBodyMass, DiscreteArithmetic, "kg")                                  \
  X(WaistCircumference, DiscreteArithmetic, "cm")                            \
  X(AppleSleepingWristTemperature, DiscreteArithmetic, "degC")               \
  /* Fitness */                                                              \
  X(StepCount, Cumulative, "count")                                          \
  X(DistanceWalkingRunning, Cumulative, "m")                                 \
  X(DistanceCycling, Cumulative, "m")                                        \
  X(DistanceWheelchair, Cumulative, "m")                                     \
  X(DistanceSwimming, Cumulative, "m")                                       \
  X(DistanceDownhillSnowSports, Cumulative, "m")                             \
  X(BasalEnergyBurned, Cumulative, "kcal")                                   \
  X(ActiveEnergyBurned, Cumulative, "kcal")                                  \
  X(FlightsClimbed, Cumulative, "count")                                     \
  X(NikeFuel, Cumulative, "count")                                           \
  X(AppleExerciseTime, Cumulative, "min")                                    \
  X(AppleMoveTime, Cumulative, "min")                                        \
  X(AppleStandTime, Cumulative, "min")                                       \
  X(PushCount, Cumulative, "count")                                          \
  X(SwimmingStrokeCount, Cumulative, "count")                                \
  X(VO2Max, DiscreteArithmetic, "ml/(kg*min)")                               \
  X(WalkingSpeed, DiscreteArithmetic, "m/s")                                 \
  X(WalkingDoubleSupportPercentage, DiscreteArithmetic, "%")                 \
  X(WalkingAsymmetryPercentage, DiscreteArithmetic, "%")                     \
  X(WalkingStepLength, DiscreteArithmetic, "cm")                             \
  X(SixMinuteWalkTestDistance, DiscreteArithmetic, "m")                      \
  X(StairAscentSpeed, DiscreteArithmetic, "m/s")                             \
  X(StairDescentSpeed, DiscreteArithmetic, "m/s")                            \
  X(AppleWalkingSteadiness, DiscreteArithmetic, "%")                         \
  X(RunningStrideLength, DiscreteArithmetic, "m")                            \
  X(RunningVerticalOscillation, DiscreteArithmetic, "cm")                    \
  X(RunningGroundContactTime, DiscreteArithmetic, "ms")                      \
  X(RunningPower, DiscreteArithmetic, "W")                                   \
  X(RunningSpeed, DiscreteArithmetic, "m/s")                                 \
  X(CyclingSpeed, DiscreteArithmetic, "m/s")                                 \
  X(CyclingPower, DiscreteArithmetic, "W")                                   \
  X(CyclingCadence, DiscreteArithmetic, "count/min")                         \
  X(CyclingFunctionalThresholdPower, DiscreteArithmetic, "W")                \
  X(PhysicalEffort, DiscreteArithmetic, "kcal/(kg*hr)")                      \
  X(TimeInDaylight, Cumulative, "min")                                       \
  /* Hearing */                                                              \
  X(EnvironmentalAudioExposure, DiscreteEquivalentContinuousLevel, "dBASPL") \
  X(HeadphoneAudioExposure, DiscreteEquivalentContinuousLevel, "dBASPL")     \
  X(EnvironmentalSoundReduction, DiscreteArithmetic, "dBASPL")               \
  /* Vital signs */                                                          \
  X(HeartRate, DiscreteTemporallyWeighted, "count/min")                      \
  X(RestingHeartRate, DiscreteArithmetic, "count/min")                       \
  X(WalkingHeartRateAverage, DiscreteArithmetic, "count/min")                \
  X(HeartRateVariabilitySDNN, DiscreteArithmetic, "ms")                      \
  X(HeartRateRecoveryOneMinute, DiscreteArithmetic, "count/min")             \
  X(AtrialFibrillationBurden, DiscreteArithmetic, "%")                       \
  X(OxygenSaturation, DiscreteArithmetic, "%")                               \
  X(BodyTemperature, DiscreteArithmetic, "degC")                             \
  X(BasalBodyTemperature, DiscreteArithmetic, "degC")                        \
  X(BloodPressureSystolic, DiscreteArithmetic, "mmHg")                       \
  X(BloodPressureDiastolic, DiscreteArithmetic, "mmHg")                      \
  X(RespiratoryRate, DiscreteArithmetic, "count/min")                        \
  /* Results and other measurements */                                       \
  X(BloodGlucose, DiscreteArithmetic, "mg/dL")                               \
  X(ElectrodermalActivity, DiscreteArithmetic, "mcS")                        \
  X(InhalerUsage, Cumulative, "count")                                       \
  X(InsulinDelivery, Cumulative, "IU")                                       \
  X(BloodAlcoholContent, DiscreteArithmetic, "%")                            \
  X(ForcedVitalCapacity, DiscreteArithmetic, "L")                            \
  X(ForcedExpiratoryVolume1, DiscreteArithmetic, "L")                        \
  X(PeakExpiratoryFlowRate, DiscreteArithmetic, "L/min")                     \
  X(PeripheralPerfusionIndex, DiscreteArithmetic, "%")                       \
  X(NumberOfTimesFallen, Cumulative, "count")                                \
  X(NumberOfAlcoholicBeverages, Cumulative, "count")                         \
  X(UVExposure, DiscreteArithmetic, "count")                                 \
  X(UnderwaterDepth, DiscreteArithmetic, "m")                                \
  X(WaterTemperature, DiscreteArithmetic, "degC")                            \
  /* Nutrition */                                                            \
  X(DietaryFatTotal, Cumulative, "g")                                        \
  X(DietaryFatPolyunsaturated, Cumulative, "g")                              \
  X(DietaryFatMonounsaturated, Cumulative, "g")                              \
  X(DietaryFatSaturated, Cumulative, "g")                                    \
  X(DietaryCholesterol, Cumulative, "mg")                                    \
  X(DietarySodium, Cumulative, "mg")                                         \
  X(DietaryCarbohydrates, Cumulative, "g")                                   \
  X(DietaryFiber, Cumulative, "g")                                           \
  X(DietarySugar, Cumulative, "g")                                           \
  X(DietaryEnergyConsumed, Cumulative, "kcal")                               \
  X(DietaryProtein, Cumulative, "g")                                         \
  X(DietaryVitaminA, Cumulative, "mcg")                                      \
  X(DietaryVitaminB6, Cumulative, "mg")                                      \
  X(DietaryVitaminB12, Cumulative, "mcg")                                    \
  X(DietaryVitaminC, Cumulative, "mg")                                       \
  X(DietaryVitaminD, Cumulative, "mcg")                                      \
  X(DietaryVitaminE, Cumulative, "mg")                                       \
  X(DietaryVitaminK, Cumulative, "mcg")                                      \
  X(DietaryCalcium, Cumulative, "mg")                                        \
  X(DietaryIron, Cumulative, "mg")                                           \
  X(DietaryThiamin, Cumulative, "mg")                                        \
  X(DietaryRiboflavin, Cumulative, "mg")                                     \
  X(DietaryNiacin, Cumulative, "mg")                                         \
  X(DietaryFolate, Cumulative, "mcg")                                        \
  X(DietaryBiotin, Cumulative, "mcg")                                        \
  X(DietaryPantothenicAcid, Cumulative, "mg")                                \
  X(DietaryPhosphorus, Cumulative, "mg")                                     \
  X(DietaryIodine, Cumulative, "mcg")                                        \
  X(DietaryMagnesium, Cumulative, "mg")                                      \
  X(DietaryZinc, Cumulative, "mg")                                           \
  X(DietarySelenium, Cumulative, "mcg")                                      \
  X(DietaryCopper, Cumulative, "mg")                                         \
  X(DietaryManganese, Cumulative, "mg")                                      \
  X(DietaryChromium, Cumulative, "mcg")                                      \
  X(DietaryMolybdenum, Cumulative, "mcg")                                    \
  X(DietaryChloride, Cumulative, "mg")                                       \
  X(DietaryPotassium, Cumulative, "mg")                                      \
  X(DietaryCaffeine, Cumulative, "mg")                                       \
  X(DietaryWater, Cumulative, "mL")

// Value ranges: sleep analysis 0..5 (in bed .. asleep REM), stand hour 0..1, cervical mucus
// 1..5, ovulation test 1..4, menstrual flow 1..5, contraceptive 1..7, test results 1..3,
// walking steadiness events 1..4, audio and fitness events 1 (their one value), symptoms rated
// by severity 0..4, and every other event type 0 (not applicable).
#define HK_CATEGORY_TYPES(X)                \
  X(SleepAnalysis, 0, 5)                    \
  X(AppleStandHour, 0, 1)                   \
  X(CervicalMucusQuality, 1, 5)             \
  X(OvulationTestResult, 1, 4)              \
  X(MenstrualFlow, 1, 5)                    \
  X(IntermenstrualBleeding, 0, 0)           \
  X(SexualActivity, 0, 0)                   \
  X(MindfulSession, 0, 0)                   \
  X(HighHeartRateEvent, 0, 0)               \
  X(LowHeartRateEvent, 0, 0)                \
  X(IrregularHeartRhythmEvent, 0, 0)        \
  X(AudioExposureEvent, 1, 1)               \
  X(EnvironmentalAudioExposureEvent, 1, 1)  \
  X(HeadphoneAudioExposureEvent, 1, 1)      \
  X(ToothbrushingEvent, 0, 0)               \
  X(HandwashingEvent, 0, 0)                 \
  X(LowCardioFitnessEvent, 1, 1)            \
  X(AppleWalkingSteadinessEvent, 1, 4)      \
  X(Pregnancy, 0, 0)                        \
  X(Lactation, 0, 0)                        \
  X(Contraceptive, 1, 7)                    \
  X(PregnancyTestResult, 1, 3)              \
  X(ProgesteroneTestResult, 1, 3)           \
  X(InfrequentMenstrualCycles, 0, 0)        \
  X(IrregularMenstrualCycles, 0, 0)         \
  X(PersistentIntermenstrualBleeding, 0, 0) \
  X(ProlongedMenstrualPeriods, 0, 0)        \
  X(Headache, 0, 4)                         \
  X(Fatigue, 0, 4)                          \
  X(Nausea, 0, 4)                           \
  X(Fever, 0, 4)                            \
  X(Dizziness, 0, 4)                        \
  X(Coughing, 0, 4)                         \
  X(ShortnessOfBreath, 0, 4)                \
  X(SoreThroat, 0, 4)                       \
  X(Chills, 0, 4)                           \
  X(AbdominalCramps, 0, 4)

#define HK_CORRELATION_TYPES(X) \
  X(BloodPressure)              \
  X(Food)
